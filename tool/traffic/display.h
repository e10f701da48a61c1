// What `send`, `recv` and `listen` show of an exchange.

#ifndef FAIRLEAD_TOOL_TRAFFIC_DISPLAY_H_
#define FAIRLEAD_TOOL_TRAFFIC_DISPLAY_H_

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "fairlead/time/the_time.h"
#include "tool/base/exit_status.h"
#include "tool/command/arguments.h"
#include "tool/io/output.h"
#include "tool/traffic/answer_changes.h"
#include "tool/traffic/data_log.h"
#include "tool/traffic/destination.h"
#include "tool/traffic/parameters.h"
#include "tool/traffic/time_limit.h"

namespace fairlead::tool {

/// What OutFileOf() reads.
inline constexpr auto kOutUses = Uses(Optional(kOut, Optional(kAppend)));

OutFile OutFileOf(const Arguments<kOutUses>& arguments);

/// Shows what is received in a view, on standard output or in a file, and with
/// -view json every step. Also logs the bytes, if that is asked for.
///
/// What is received is gathered, up to 64 KiB, until something else is shown or
/// Flush() is called, so that many messages take one write.
///
/// One display serves all exchanges of a command. Any number of threads may
/// show what they send or receive.
class Display {
 public:
  /// @param output outlives the object
  Display(const Output& output, View view, OutFile file);
  Display(const Display&) = delete;
  Display& operator=(const Display&) = delete;

  /// Writes what is gathered, if that can be done.
  ~Display();

  /// From now on, keeps what is received until EndAnswer(), and shows it only
  /// if it has changed or cannot be kept.
  void ShowOnlyChanges() { changes_.emplace(); }

  bool KeepsAnswers() const { return changes_.has_value(); }

  /// From now on, leaves standard output open when the peer sends no more:
  /// another one follows.
  void ExpectMorePeers() { more_peers_ = true; }

  /// From now on, writes what standard output takes without blocking. The rest
  /// waits in memory, until Flush() is called often enough, or Drain(), Close()
  /// or Failed(), which wait for its reader. Use it for standard output alone.
  void QueueOutput() { queues_ = true; }

  /// From now on, the time limit ends what is written and blocks.
  ///
  /// @param limit outlives all other calls than the destructor's
  void WriteWithin(TimeLimit& limit) { limit_ = &limit; }

  /// Returns how many bytes wait, and how many were shown in all.
  std::size_t waiting() const;
  std::uint64_t shown() const;

  /// Returns what to poll before Flush(), or -1 if nothing waits.
  int Outlet() const;

  /// Waits for the reader of standard output until nothing waits for it.
  ///
  /// @return false if the descriptor `stop` becomes readable before it reads
  /// @throws Failure with kCannotWrite or kReaderGone
  bool Drain(int stop);

  bool ShowsSent() const { return HasEvents(); }

  /// Logs the bytes sent and received from now on.
  ///
  /// @param log outlives the object
  void LogData(ExchangeLog& log, DataForm form);

  void Resolved(std::string_view host, std::string_view address);

  /// Begins an answer. Opens the file, if it is not open, and sets the peer.
  ///
  /// @param took how long connecting took, if that is known
  /// @throws Failure with kCannotWrite if the file cannot be opened
  void Connected(const std::string& peer,
                 std::optional<std::chrono::nanoseconds> took = {});

  /// Sets the peer that later events name: "127.0.0.1:7000". Not while another
  /// thread sends.
  void SetPeer(const std::string& peer);

  /// Shows a message that is handed to the system, or the next piece of it.
  ///
  /// @throws Failure with kCannotWrite or kReaderGone
  void Sent(std::string_view piece, bool ends_message = true);

  /// Returns whether the view shows the bytes alone, so that Received() can be
  /// called with pieces of messages.
  bool IsRaw() const { return view_ == View::kRaw; }

  /// Shows a message received at that time, or the next piece of it; or keeps
  /// it.
  ///
  /// @throws Failure with kCannotWrite or kReaderGone
  void Received(std::string_view bytes, const TheTime& time,
                bool ends_message = true);

  /// Writes what is gathered.
  ///
  /// @throws Failure with kCannotWrite or kReaderGone
  void Flush();

  /// Returns whether what was received since Connected() is shown: always, but
  /// for what ShowOnlyChanges() drops.
  ///
  /// @throws Failure with kCannotWrite or kReaderGone
  bool EndAnswer();

  /// Ends an answer that a failure has cut: shows what is kept of it, and logs
  /// what waits of its bytes. Call it when no other thread sends any more.
  ///
  /// @return whether what was received since Connected() is shown; false if it
  ///     cannot be written
  bool CutAnswer();

  /// Shows a line that is the result of an exchange without messages, unless
  /// the view shows events.
  ///
  /// @throws Failure with kCannotWrite or kReaderGone
  void Result(std::string_view line);

  /// The peer sends no more, though there is input left to send: closes
  /// standard output, unless an event or another peer will follow.
  ///
  /// @throws Failure with kCannotWrite or kReaderGone
  void PeerEnded();

  /// Call it when no other thread sends any more, as Failed().
  ///
  /// @param reason why the connection ended
  /// @throws Failure with kCannotWrite or kReaderGone
  void Closed(std::uint64_t sent, std::uint64_t received,
              std::string_view reason);

  /// Shows what ends the command. Does nothing if that cannot be written.
  void Failed(ExitStatus status, std::string_view message);

  /// Logs what waits of the bytes, at the end of a process that cannot wait.
  /// Leaves out what would block. Not while LogData() is called.
  void LogRestAtOnce();

  /// Shows what ends the command, at the end of a process that cannot wait.
  /// Leaves out what would block.
  void FailedAtOnce(ExitStatus status, std::string_view message);

  /// Closes the file.
  ///
  /// @throws Failure with kCannotWrite; Failed() can then still be called
  void Close();

 private:
  bool HasEvents() const { return view_ == View::kJson; }
  void Write(std::string_view text);
  void AddCharacters(std::string_view bytes);
  void EndCharacter();
  void FlushData();
  void FlushLocked();
  void Show(std::string_view bytes, const TheTime& time, bool ends_message);
  AnswerChanges::Show ShowPiece();

  const View view_;
  TimeLimit* limit_ = nullptr;
  bool queues_ = false;
  bool more_peers_ = false;
  std::optional<AnswerChanges> changes_;
  std::string peer_;  // Set before another thread sends.
  mutable std::mutex mutex_;
  Destination destination_;          // Guarded by mutex_.
  std::string cut_;                  // Guarded by mutex_. On a terminal: the
                                     // start of a character.
  std::optional<DataLog> sent_;      // Of -logdata; of the sending thread.
  std::optional<DataLog> received_;  // Of the thread that receives.
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_TRAFFIC_DISPLAY_H_
