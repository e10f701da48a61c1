// The command `listen`: a small TCP server.

#include <arpa/inet.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "fairlead/time/the_time.h"
#include "tool/base/bytes_text.h"
#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/base/reason.h"
#include "tool/command/command_table.h"
#include "tool/command/same_file.h"
#include "tool/io/output.h"
#include "tool/listen/listen_watch.h"
#include "tool/listen/listener.h"
#include "tool/traffic/display.h"
#include "tool/traffic/parameters.h"

namespace fairlead::tool::listen_command {
namespace {

constexpr std::string_view kCommand = "listen";

constexpr Parameter kPort = {
    .name = "port",
    .placeholder = "N",
    .kind = Kind::kNumber,
    .group = Group::kWhere,
    .help = "the port to listen on; 0 takes a free one and prints it",
    .range = {.least = 0, .most = 65535}};
constexpr Parameter kAddress = {
    .name = "address",
    .placeholder = "A",
    .kind = Kind::kNonEmptyText,
    .group = Group::kWhere,
    .help =
        "the dotted IPv4 address to listen on; 0.0.0.0 for all addresses of "
        "this machine, which other machines can then reach",
    .fallback = "127.0.0.1"};
constexpr Parameter kReply = {
    .name = "reply",
    .placeholder = "TEXT",
    .kind = Kind::kText,
    .group = Group::kWhat,
    .help =
        R"(send TEXT, with the escapes \r \n \t \\ \xHH, to each peer once it )"
        "connects",
    .remedy = kEscapeDash};
constexpr Parameter kReplyfile = {
    .name = "replyfile",
    .placeholder = "FILE",
    .kind = Kind::kFile,
    .group = Group::kWhat,
    .help =
        "send the bytes that FILE has when listening begins; it is read as it "
        "is sent and must not shrink meanwhile; what is not a regular file is "
        "read into memory first, up to 8 MiB"};
constexpr Parameter kEcho = {.name = "echo",
                             .kind = Kind::kSwitch,
                             .group = Group::kWhat,
                             .help = "send each peer what it sends"};
constexpr Parameter kCount = {
    .name = "count",
    .placeholder = "N",
    .kind = Kind::kNumber,
    .group = Group::kHowLong,
    .help = "end after N connections have ended; refuse later ones",
    .range = kCountRange,
    .fallback = "1"};
constexpr Parameter kKeepopen = {
    .name = "keepopen",
    .kind = Kind::kSwitch,
    .group = Group::kHowLong,
    .help = "serve for ever; -timeout then has no default"};
constexpr Parameter kTimeout = {
    .name = "timeout",
    .placeholder = "TIME",
    .kind = Kind::kDuration,
    .group = Group::kHowLong,
    .help = "end TIME after listening began, with status 28",
    .range = kTimeRange,
    .unlimited = kNoLimit,
    .fallback = "30"};
constexpr Parameter kQuiet = {
    .name = "quiet",
    .kind = Kind::kSwitch,
    .group = Group::kOutput,
    .help = "do not report that a peer has to wait; port 0 is printed anyway"};

// Of the output that waits for the reader of standard output.
constexpr std::size_t kMaxOfPeer = std::size_t{64} << 10;
constexpr std::size_t kMaxInAll = std::size_t{1} << 20;

constexpr auto kUses =
    Uses(kPort, Optional(kAddress), AtMostOne(kReply, kReplyfile, kEcho),
         AtMostOne(kCount, kKeepopen), Optional(kTimeout), Optional(kView),
         AtMostOne(kQuiet, kVerbose), Optional(kLog, Optional(kLogCrlf)));

using Arguments = tool::Arguments<kUses>;

// "127.0.0.1 port 7000"
std::string Place(std::string_view address, int port) {
  return Concat(address, " port ", port);
}

in_addr ParseAddress(const std::string& text) {
  in_addr address{};
  if (inet_pton(AF_INET, text.c_str(), &address) == 1) return address;
  throw Failure(kWrongUsage,
                Concat("-address: ", Quoted(text),
                       " is not a dotted IPv4 address, such as 127.0.0.1"));
}

std::string_view RemedyFor(int error) {
  switch (error) {
    case EADDRINUSE:
      return "; choose another port, or 0 for a free one";
    case EADDRNOTAVAIL:
      return "; choose an address of this machine, or 0.0.0.0 for all of them";
    case EACCES:
      return "; choose a port above 1023";
    default:
      return "";
  }
}

[[noreturn]] void FailToListen(const std::string& place, int error) {
  throw Failure(error == EADDRINUSE ? kAddressInUse : kNotConnected,
                Concat("cannot listen on ", place, ": ", Reason(error),
                       RemedyFor(error)));
}

ListenWatch::Settings WatchSettings(const Arguments& arguments) {
  ListenWatch::Settings settings = {.command = std::string(kCommand),
                                    .log = arguments.Text(kLog),
                                    .crlf = arguments.Has(kLogCrlf),
                                    .verbose = arguments.Has(kVerbose)};
  if (arguments.Has(kTimeout) || !arguments.Has(kKeepopen))
    settings.timeout = arguments.Duration(kTimeout);
  return settings;
}

// Prints what is received, and reports the rest. While the reader of standard
// output is slow, so much output waits in memory; then the peers are held back,
// first the one that causes most of it.
class Report : public ListenerEvents {
 public:
  Report(Display& display, std::string place, ListenWatch& watch)
      : display_(display), place_(std::move(place)), watch_(watch) {
    display_.QueueOutput();
    watch_.Log(Concat("listening on ", place_));
    EnterStage();
  }

 private:
  // The output of a peer since none of it waited.
  struct Backlog {
    std::uint64_t size = 0;
    std::uint64_t end = 0;  // In all output.
  };

  void EnterStage() {
    watch_.Enter(open_ == 0 ? Concat("waiting for a peer on ", place_)
                            : Concat("serving ", open_,
                                     open_ == 1 ? " peer" : " peers"));
  }

  void Connected(const PeerAccount& peer) override {
    ++open_;
    EnterStage();
    watch_.Tell(Concat("connected ", peer.name));
    Show(peer, [&] { display_.Connected(peer.name); });
  }

  void Received(const PeerAccount& peer, std::string_view bytes) override {
    watch_.Log(
        Concat("received ", BytesText(bytes.size()), " from ", peer.name));
    Show(peer, [&] { display_.Received(bytes, TheTime()); });
  }

  void Sent(const PeerAccount& peer, std::string_view bytes) override {
    if (display_.ShowsSent()) Show(peer, [&] { display_.Sent(bytes); });
  }

  void Ended(const PeerAccount& peer, int error) override {
    --open_;
    EnterStage();
    const std::string why = error == 0 ? "" : Concat(", ", ErrorText(error));
    watch_.Tell(Concat("closed ", peer.name, ": ", BytesText(peer.received),
                       " received, ", peer.sent, " sent", why));
    Show(peer, [&] {
      display_.Closed(peer.sent, peer.received,
                      error == 0 ? "the peer closed" : ErrorText(error));
    });
    backlogs_.erase(peer.name);
  }

  void Exhausted(int error) override {
    const std::string text = Concat(
        "a peer has to wait until another connection ends: ", Reason(error));
    watch_.Log(text);
    PrintNote(kCommand, text);
  }

  void Show(const PeerAccount& peer, const std::function<void()>& show) {
    Backlog& backlog = backlogs_[peer.name];
    if (!Waits(backlog)) backlog.size = 0;
    const std::uint64_t before = display_.shown();
    display_.SetPeer(peer.name);
    show();
    display_.Flush();
    backlog.end = display_.shown();
    backlog.size += backlog.end - before;
  }

  bool Waits(const Backlog& backlog) const {
    return backlog.end > display_.shown() - display_.waiting();
  }

  bool TakesPeers() override { return display_.waiting() <= kMaxInAll; }

  bool TakesReceived(const PeerAccount& peer) override {
    const std::size_t waiting = display_.waiting();
    if (waiting <= kMaxOfPeer) return true;
    const Backlog& backlog = backlogs_[peer.name];
    return waiting <= kMaxInAll &&
           (backlog.size <= kMaxOfPeer || !Waits(backlog));
  }

  bool TakesSent(const PeerAccount& peer) override {
    return !display_.ShowsSent() || TakesReceived(peer);
  }

  int Outlet() override { return display_.Outlet(); }
  void OutletIsReady() override { display_.Flush(); }

  Display& display_;
  const std::string place_;
  ListenWatch& watch_;
  int open_ = 0;
  std::map<std::string, Backlog> backlogs_;
};

ListenerSettings Settings(const Arguments& arguments, ListenWatch& watch) {
  watch.Enter("reading the reply");
  ListenerSettings settings{.echo = arguments.Has(kEcho)};
  if (arguments.Has(kReply))
    settings.reply = Reply(Unescaped(arguments.Text(kReply), kReply.name));
  if (arguments.Has(kReplyfile))
    settings.reply = Reply::OfFile(arguments.Text(kReplyfile));
  if (!arguments.Has(kKeepopen))
    settings.count = static_cast<std::size_t>(arguments.Number(kCount));
  return settings;
}

// The peers must not take for whole what was sent of a reply that cannot be
// read to its end.
void Serve(Listener& listener, Report& report, const ListenWatch& watch) {
  try {
    if (!listener.Serve(report, watch.limit())) watch.FailAtLimit();
  } catch (const std::system_error& error) {
    throw Failure(kReceivingFailed,
                  Concat("cannot serve peers: ", Reason(error.code().value())));
  } catch (const Failure& failure) {
    if (failure.status() == kCannotRead) listener.Abandon();
    throw;
  }
}

void Run(const Arguments& arguments, Display& display, ListenWatch& watch) {
  const std::string address = arguments.Text(kAddress);
  const int port = arguments.Number(kPort);
  std::optional<Listener> listener;
  try {
    listener.emplace(ParseAddress(address), port, Settings(arguments, watch));
  } catch (const std::system_error& error) {
    FailToListen(Place(address, port), error.code().value());
  }
  const std::string place = Place(address, listener->port());
  Report report(display, place, watch);
  if (port == 0 || arguments.Has(kVerbose))
    PrintError(kCommand, Concat("listening on ", place));
  watch.WatchLimit();
  Serve(*listener, report, watch);
  watch.Enter("writing standard output");
  if (!display.Drain(watch.limit())) watch.FailAtLimit();
  display.Close();
}

ExitStatus Listen(const Arguments& arguments, const Output& output) {
  ParseAddress(arguments.Text(kAddress));
  Unescaped(arguments.Text(kReply), kReply.name);
  CheckDistinct(arguments, kLog, kReplyfile);
  SetQuiet(arguments.Has(kQuiet));
  Display display(output, arguments.Chosen<View>(kView), {});
  std::optional<ListenWatch> watch;
  try {
    watch.emplace(WatchSettings(arguments), display);
    Run(arguments, display, *watch);
    watch->CheckLog();
  } catch (const std::exception&) {
    const Failure failure = CaughtFailure();
    if (watch) watch->Fail(failure.what());
    display.Failed(failure.status(), failure.what());
    throw Failure(failure);
  }
  return kDone;
}

constexpr auto kExamples = std::to_array<Example>({
    {"fairlead listen -port 7000 -view dump",
     "Prints what one client sends, as a hex dump."},
    {R"(fairlead listen -port 7000 -reply 'ready\r\n' -keepopen)",
     "Greets every client until Ctrl-C ends it."},
    {"fairlead listen -port 0 -echo -count 2",
     "Prints the number of a free port, and echoes two connections."},
    {"fairlead listen -port 7000 -address 0.0.0.0 -log box.log",
     "Waits for a device on the network, and logs what happens."},
});

constexpr auto kStatuses = std::to_array<Status>({
    {kDone, "success: the connections of -count have ended, in any way"},
    {kWrongUsage, "wrong usage"},
    {kNotConnected,
     "the address or the port cannot be listened on, or the system cannot "
     "start a thread"},
    {kCannotWrite, "standard output or the log cannot be written"},
    {kCannotRead, "the file of -replyfile cannot be read, or has shrunk"},
    {kTimeIsOver, "the time limit of -timeout was reached"},
    {kAddressInUse, "another server listens on the port"},
    {kReceivingFailed, "the system does not let it serve its peers"},
    {kInterrupted, "interrupted by Ctrl-C (SIGINT)"},
});

}  // namespace
}  // namespace fairlead::tool::listen_command

namespace fairlead::tool {

constinit const Command kListenCommand = {
    .name = "listen",
    .summary = "accept connections and print what the peers send",
    .description =
        "A small TCP server, to try a client or to answer a device that "
        "connects. Serves any number of peers at once and prints what they "
        "send to standard output, as it comes. Connections of this machine "
        "alone are accepted unless -address is given. The first line of -port "
        "0 on standard error, also with -quiet, is 'fairlead listen: listening "
        "on 127.0.0.1 port 40123'.\n"
        "A connection ends when the peer closes it, or closes its sending half "
        "and has been sent everything; one that breaks counts as ended, too, "
        "and -verbose, -log and -view json report why. A peer that does not "
        "read its echo is not read either.\n"
        "If the reader of standard output is slow, peers are served while "
        "their output waits in memory: up to 64 KiB of one peer, and 1 MiB of "
        "all; at the time limit, it has two seconds to take that. What it does "
        "not take is lost, and an object of -view json of more than 4096 bytes "
        "may then be cut.",
    .action = ActionOf<listen_command::kUses, listen_command::Listen>(),
    .examples = listen_command::kExamples,
    .statuses = listen_command::kStatuses,
};

}  // namespace fairlead::tool
