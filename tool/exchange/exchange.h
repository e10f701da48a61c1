// One exchange with a server: resolve, connect, send, drain, close.

#ifndef FAIRLEAD_TOOL_EXCHANGE_EXCHANGE_H_
#define FAIRLEAD_TOOL_EXCHANGE_EXCHANGE_H_

#include <optional>
#include <string>
#include <string_view>

#include "fairlead/net/tcp_client.h"
#include "tool/command/arguments.h"
#include "tool/crypt/cipher.h"
#include "tool/exchange/exchange_log.h"
#include "tool/exchange/send_profile.h"
#include "tool/exchange/stop_rules.h"
#include "tool/exchange/time_limit.h"
#include "tool/io/output.h"

namespace fairlead::tool {

/// With whom to exchange, how long, and how to show what comes.
struct Settings {
  std::string command;
  std::string host;
  int port = 0;
  int timeout = 0;
  int idle = 0;
  StopRules::Limits limits;
  std::string view;
  std::optional<CipherKey> cipher;  ///< By which what is received is read.
};

/// The settings that arguments and profile give; also sets `silent` for -quiet.
/// With -demo the port is left 0.
///
/// @throws Failure with kWrongUsage where no server is named
Settings ReadSettings(const Arguments& arguments, const Profile& profile);

/// The first IPv4 address of the host.
///
/// @throws Failure with kNotResolved; where `silent` is set, the library ends
///     the process with kSilentlyNotResolved instead
std::string Resolve(const std::string& host);

/// The steps of an exchange, to be called in their order, each once. Each
/// throws a Failure with the status that is its own.
class Exchange {
 public:
  /// The four outlive the object.
  Exchange(const Settings& settings, TimeLimit& limit, const Output& output,
           ExchangeLog& log);

  void Connect();

  /// Sends the body as messages of 1800 bytes and a last, shorter one.
  void Send(std::string_view body);

  /// Shows what is received, until a stop rule is fulfilled, the peer has
  /// closed, or it has been silent for too long.
  void Drain();

  void Close();

  /// Throws where nothing was answered, less than whole blocks of the cipher,
  /// or not what -until waits for.
  void Judge() const;

 private:
  bool TakeQueue();
  bool Take(std::string_view bytes, const TheTime& time);
  std::size_t Undeciphered() const;
  bool IsOpen();
  void AwaitMessage();
  void EndDraining(std::string_view ending, std::string_view event);
  [[noreturn]] void FailToSend(std::size_t sent, std::size_t total);

  const Settings& settings_;
  TimeLimit& limit_;
  const Output& output_;
  ExchangeLog& log_;
  StopRules rules_;
  std::optional<CipherStream> decipher_;
  std::size_t sent_ = 0;
  std::size_t received_ = 0;
  std::string_view ending_;  // Why draining ended, for the person.
  bool enough_ = false;      // A stop rule ended it.
  bool reset_ = false;       // The peer was seen to reset the connection,
  bool cut_off_ = false;     // and that ended the draining.
  CTCPClient client_;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_EXCHANGE_H_
