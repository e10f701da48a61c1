// The ring of bytes between the receive thread of an exchange and its sink.

#include "fairlead/net/receive_buffer.h"

#include <algorithm>

namespace fairlead::internal {

// The room is in one piece: behind the newest chunk or, if too little is left
// there, before the oldest. An empty ring begins anew, in memory that is likely
// to be cached.
std::span<char> ReceiveBuffer::RoomLocked() {
  std::size_t begin = 0;
  std::size_t end = kSize;
  if (count_ == kMaxChunks) return {};
  if (count_ > 0) {
    const Chunk& newest = chunks_[(first_ + count_ - 1) % kMaxChunks];
    const std::size_t oldest = chunks_[first_].offset;
    begin = newest.offset + newest.size;
    const bool wraps = newest.offset < oldest;
    if (!wraps && kSize - begin < kMinRoom) begin = 0;
    if (wraps || begin == 0) end = oldest;
  }
  const std::size_t size = std::min(end - begin, kMaxReceive);
  return {bytes_.get() + begin, size - size % kMaxPiece};
}

std::span<char> ReceiveBuffer::AwaitRoom() {
  std::unique_lock lock(mutex_);
  const auto has_room = [this] {
    room_ = RoomLocked();
    return stopped_ || room_.size() >= kMinRoom;
  };
  if (!has_room()) {
    news_cv_.notify_one();
    room_cv_.wait(lock, has_room);
  }
  return stopped_ ? std::span<char>() : room_;
}

void ReceiveBuffer::Add(std::size_t size, bool more) {
  {
    const TheTime now;
    const std::lock_guard lock(mutex_);
    chunks_[(first_ + count_) % kMaxChunks] = {
        static_cast<std::size_t>(room_.data() - bytes_.get()), size, now.ts};
    ++count_;
  }
  if (!more) news_cv_.notify_one();
}

// With the lock, a notification cannot come between the look and the sleep of a
// wait.
void ReceiveBuffer::Stop() {
  const std::lock_guard lock(mutex_);
  stopped_ = true;
  room_cv_.notify_one();
}

void ReceiveBuffer::Notify() {
  const std::lock_guard lock(mutex_);
  news_cv_.notify_one();
}

void ReceiveBuffer::DropLocked() {
  first_ = (first_ + held_) % kMaxChunks;
  count_ -= held_;
  held_ = 0;
  room_cv_.notify_one();
}

std::optional<ReceiveBuffer::Piece> ReceiveBuffer::Next(std::size_t max_piece) {
  if (rest_.empty()) {
    const std::lock_guard lock(mutex_);
    DropLocked();
    if (count_ == 0) return std::nullopt;
    const Chunk& chunk = chunks_[first_];
    rest_ = {bytes_.get() + chunk.offset, chunk.size};
    time_.ts = chunk.time;
    held_ = 1;
  }
  const std::string_view bytes = rest_.substr(0, max_piece);
  rest_.remove_prefix(bytes.size());
  return Piece{bytes, time_};
}

bool ReceiveBuffer::HasPieces() {
  const std::lock_guard lock(mutex_);
  return HasPiecesLocked();
}

}  // namespace fairlead::internal
