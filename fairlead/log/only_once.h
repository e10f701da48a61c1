// A tracker that decides whether to report a recurring event now.

#ifndef FAIRLEAD_LOG_ONLY_ONCE_H_
#define FAIRLEAD_LOG_ONLY_ONCE_H_

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <mutex>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "fairlead/export.h"

namespace fairlead {

/// When COnlyOnce::Start() returns true. A wave is a series of occurrences of
/// one event, each within the interval of the previous one.
enum COnlyMode : std::int32_t {
  OnceThrottle = 0,   ///< At the first call, then once per interval.
  OnceWaveEnd = 1,    ///< Once, at the end of a wave.
  OnceWaveStart = 2,  ///< Once, at the start of a wave.
};

/// What a COnlyOnce stores for one event.
struct COnceItem {
  timespec stamp{};  ///< Start of the interval, by CLOCK_REALTIME.

  /// 0: nothing reported in this wave; 1: reported, or inside a wave with
  /// `OnceWaveStart`; 2: ignore this wave.
  std::int32_t state = 0;
};

/// Decides whether to report a recurring event now, so that a message is not
/// repeated every time. A key of any bytes names the event, not its details:
/// keys are never removed. The mode decides what Start() returns:
///
/// - `OnceThrottle`: true at the first call, then at most once per interval.
///   Update() is not needed; it restarts the interval.
/// - `OnceWaveEnd`: call Update() at each occurrence and poll Start(). It
///   returns true once when the event has been quiet for longer than the
///   interval, and again only after a poll during another wave.
/// - `OnceWaveStart`: call Update() at each occurrence and poll Start(). It
///   returns true at the first poll within the interval of an occurrence, and
///   again only after a poll that found the event quiet for longer.
///
/// The elapsed time must exceed the interval. It is a difference of doubles
/// (seconds + nanoseconds / 1e9) of CLOCK_REALTIME, precise to a quarter of a
/// microsecond in this century. Setting the clock back lengthens an interval.
/// @code
/// fairlead::COnlyOnce once(fairlead::OnceThrottle);
/// const bool first = once.Start("disk full", 60);   // first == true
/// const bool second = once.Start("disk full", 60);  // second == false
/// @endcode
/// @par Threads and fork
/// Threads may share a tracker; each call is atomic. A call throws
/// std::system_error if the lock fails, with its code, and std::bad_alloc if a
/// new key does not fit; the tracker is then unchanged. A forked child has an
/// independent copy, which is locked forever if another thread was in a call:
/// construct a new tracker there. Static objects constructed after a static
/// tracker may use it in constructors and destructors.
/// @par Cost
/// One clock reading and one hash lookup; a new key is copied. The hash is
/// randomly seeded: chosen keys cannot make lookups slow.
class COnlyOnce {  // Only what others call is exported: the rest is inlined.
 public:
  /// Constructs an empty tracker. In an unknown mode, Start() returns false.
  explicit COnlyOnce(COnlyMode mode) : mode_(mode) {}

  COnlyOnce(const COnlyOnce&) = delete;
  COnlyOnce& operator=(const COnlyOnce&) = delete;

  /// Returns whether to report the event now; see the modes above. Adds an
  /// unknown key with `OnceThrottle`; returns false for it in other modes.
  /// @param interval in seconds; infinity and NaN never elapse. A negative one
  ///     has always elapsed, unless the clock was set back by as much or more.
  FAIRLEAD_EXPORT bool Start(std::string_view key, double interval);

  /// Overload for whole seconds.
  FAIRLEAD_EXPORT bool Start(std::string_view key, int interval);

  /// Overload for any other arithmetic type, converted to double.
  template <typename Seconds>
  requires std::is_arithmetic_v<Seconds>
  bool Start(std::string_view key, Seconds interval) {
    return Start(key, static_cast<double>(interval));
  }

  /// Records an occurrence of the event now.
  FAIRLEAD_EXPORT void Update(std::string_view key);

  /// Records an occurrence now and suppresses the report of the current wave
  /// (`OnceWaveEnd`). The next wave is reported if Start() is called between
  /// the two. Does nothing in the other modes, not even lock.
  FAIRLEAD_EXPORT void IgnoreWave(std::string_view key);

 private:
  // One cache line, so that most lookups touch only one.
  struct alignas(64) Slot {
    std::size_t hash = 0;  // 0 if the slot is free.
    std::string key;
    COnceItem item;
  };

  Slot& SlotOf(std::string_view key, std::size_t hash);
  COnceItem* Find(std::string_view key, std::size_t hash);
  COnceItem& Insert(std::string_view key, std::size_t hash);
  COnceItem& FindOrInsert(std::string_view key, std::size_t hash);
  void Grow();

  std::mutex mutex_;
  std::vector<Slot> slots_;  // Guarded by mutex_. A power of two, or none.
  std::size_t used_ = 0;     // Guarded by mutex_.
  const COnlyMode mode_;     // Set once.
};

}  // namespace fairlead

#endif  // FAIRLEAD_LOG_ONLY_ONCE_H_
