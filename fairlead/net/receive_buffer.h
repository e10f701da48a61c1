// What an exchange has received and its sink has not taken yet. Not installed.

#ifndef FAIRLEAD_NET_RECEIVE_BUFFER_H_
#define FAIRLEAD_NET_RECEIVE_BUFFER_H_

#include <array>
#include <condition_variable>
#include <cstddef>
#include <ctime>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string_view>

#include "fairlead/net/deadline.h"
#include "fairlead/time/the_time.h"

namespace fairlead::internal {

// A ring of bytes between two threads: the system writes into it what the
// receive thread asks for, and the sink reads it there.
//
// One receive takes as much as is there and fits, up to 126 KB, which Next()
// cuts into pieces, by default of the length of a message. In a stream, that
// cuts where receives of one message each would: each of them would have been
// full but for the last, as room is given in whole messages. All pieces of one
// receive have its time.
class ReceiveBuffer {
 public:
  static constexpr std::size_t kMaxPiece = 1796;
  static constexpr std::size_t kMaxReceive = 72 * kMaxPiece;
  static constexpr std::size_t kSize = 4 * kMaxReceive;

  struct Piece {
    std::string_view bytes;  // Valid until the next call of Next().
    const TheTime& time;     // Likewise.
  };

  // Waits for room, which ends a Wait(), and returns it; returns none once
  // Stop() was called. For the receive thread, as is Add().
  std::span<char> AwaitRoom();

  // Adds what was received into the room, at least one byte. Ends a Wait(),
  // unless `more` may come at once: then Add(), AwaitRoom() or Notify() is to
  // be called soon.
  void Add(std::size_t size, bool more = false);

  // Ends AwaitRoom(), now and later. Any thread.
  void Stop();

  // Drops the piece returned before, and returns the next one of at most so
  // many bytes, if any waits. For the thread of the exchange, as is Wait().
  std::optional<Piece> Next(std::size_t max_piece = kMaxPiece);

  // Returns whether a piece waits.
  bool HasPieces();

  // Waits until `is_news` returns true, or the deadline has passed. It is
  // passed whether a piece waits.
  template <typename Predicate>
  void Wait(Deadline deadline, Predicate is_news) {
    std::unique_lock lock(mutex_);
    const auto awaited = [&] { return is_news(HasPiecesLocked()); };
    if (deadline)
      news_cv_.wait_until(lock, *deadline, awaited);
    else
      news_cv_.wait(lock, awaited);
  }

  // Ends a Wait() whose `is_news` has become true. Any thread.
  void Notify();

 private:
  // What one receive has brought. It may be of a single byte, so their number
  // is limited too.
  struct Chunk {
    std::size_t offset;
    std::size_t size;
    timespec time;
  };
  static constexpr std::size_t kMaxChunks = 256;

  // A receive thread that has waited goes on when a receive is worth it.
  static constexpr std::size_t kMinRoom = 9 * kMaxPiece;

  std::span<char> RoomLocked();
  bool HasPiecesLocked() const { return !rest_.empty() || count_ > held_; }
  void DropLocked();

  const std::unique_ptr<char[]> bytes_ =  // NOLINT(*-avoid-c-arrays)
      std::make_unique_for_overwrite<char[]>(kSize);  // NOLINT(*-c-arrays)

  std::mutex mutex_;
  std::condition_variable room_cv_;  // There is room, or Stop() was called.
  std::condition_variable news_cv_;  // See Notify().

  // Guarded by mutex_. The chunks are a ring too, oldest first.
  std::array<Chunk, kMaxChunks> chunks_ = {};
  std::size_t first_ = 0;
  std::size_t count_ = 0;
  bool stopped_ = false;

  std::span<char> room_;  // Of the receive thread: what it receives into.

  // Of the exchange's thread: the oldest chunk, while it is being taken.
  std::size_t held_ = 0;  // 1 if it is.
  std::string_view rest_;
  TheTime time_;
};

}  // namespace fairlead::internal

#endif  // FAIRLEAD_NET_RECEIVE_BUFFER_H_
