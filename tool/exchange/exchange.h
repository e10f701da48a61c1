// One exchange with a server: resolve, connect, send, drain, close.

#ifndef FAIRLEAD_TOOL_EXCHANGE_EXCHANGE_H_
#define FAIRLEAD_TOOL_EXCHANGE_EXCHANGE_H_

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "fairlead/net/tcp_client.h"
#include "tool/command/arguments.h"
#include "tool/crypt/cipher.h"
#include "tool/exchange/exchange_log.h"
#include "tool/exchange/parameters.h"
#include "tool/exchange/stop_rules.h"
#include "tool/exchange/time_limit.h"
#include "tool/io/output.h"

namespace fairlead::tool {

/// With which server to exchange, for how long, and how to show what comes.
struct ExchangeSettings {
  std::string command;  ///< For messages.
  std::string host;
  int port = 0;                                      ///< Still 0 with -demo.
  std::optional<std::chrono::milliseconds> timeout;  ///< None: for ever.
  std::optional<std::chrono::milliseconds> idle;     ///< None: for ever.
  StopRules::Limits limits;
  View view = View::kRaw;
  bool quiet = false;
  std::optional<CipherKey> cipher;  ///< That decrypts what is received.
};

/// Returns the settings that the arguments give, without a server.
///
/// @throws Failure with kWrongUsage for a malformed -until
ExchangeSettings ReadSettings(const Arguments<kExchangeUses>& arguments);

/// Makes the tool, and the library's name resolution, quiet or not.
void ApplyQuiet(bool quiet);

/// The steps of an exchange. Call each once, in this order. Each throws a
/// Failure with its own status.
class Exchange {
 public:
  /// @param log null for none; all four outlive the object
  Exchange(const ExchangeSettings& settings, TimeLimit& limit,
           const Output& output, ExchangeLog* log);

  void Connect();

  /// Sends the body in messages of 1800 bytes; the last may be shorter.
  void Send(std::string_view body);

  /// Prints what is received until a stop rule is met, the peer closes, or it
  /// has sent nothing for the idle time.
  void Drain();

  void Close();

  /// Throws if nothing was received, if the last block of the cipher is
  /// incomplete, or if the text of -until did not come.
  void CheckOutcome() const;

 private:
  void Log(std::string_view event);
  bool TakeQueue();
  bool Take(std::string_view bytes, const TheTime& time);
  std::size_t Undecrypted() const;
  bool IsOpen();
  void AwaitMessage();
  void EndDraining(std::string_view ending, std::string_view event);
  [[noreturn]] void FailToSend(std::size_t sent, std::size_t total);

  const ExchangeSettings& settings_;
  TimeLimit& limit_;
  const Output& output_;
  ExchangeLog* const log_;
  StopRules rules_;
  std::optional<CipherStream> decryption_;
  std::size_t sent_ = 0;
  std::size_t received_ = 0;
  std::string_view ending_;  // Why receiving ended.
  bool enough_ = false;      // A stop rule ended it.
  bool reset_ = false;       // The peer reset the connection,
  bool cut_off_ = false;     // and that ended the receiving.
  CTCPClient client_;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_EXCHANGE_H_
