// The once-only tracker: whether to act on a recurring event now.

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

/// What a COnlyOnce answers true to. A wave is a run of occurrences of one
/// event, each within the interval of the one before.
enum COnlyMode : std::int32_t {
  OnceThrottle = 0,   ///< The first call, then at most one an interval.
  OnceWaveEnd = 1,    ///< The end of a wave, once.
  OnceWaveStart = 2,  ///< The start of a wave, once.
};

/// What a COnlyOnce remembers of one event.
struct COnceItem {
  /// The last moment that counted, by the real-time clock.
  timespec stamp{};

  /// 0 armed: nothing reported in this wave; 1 reported, or, with
  /// `OnceWaveStart`, inside a wave; 2 this wave is to be ignored.
  std::int32_t state = 0;
};

/// Tells for named events whether to act on one now, so that a message is not
/// repeated every time.
///
/// Events are named by a string key of any bytes; each key is an event of its
/// own. What Start() answers is settled by the mode:
///
/// - `OnceThrottle`: true at the first call for a key, then at most once an
///   interval. Update() is not needed; where it is called, it starts the
///   interval anew.
/// - `OnceWaveEnd`: call Update() at every occurrence and poll Start(). It
///   answers true once when the event has stopped for longer than the interval,
///   and again only after it has been polled during another wave.
/// - `OnceWaveStart`: call Update() at every occurrence and poll Start(). It
///   answers true at the first poll within an interval of an occurrence, and
///   again only after a poll has found the event quiet for longer.
///
/// Time is that of the system's real-time clock. Where that is set back, an
/// interval lasts longer by as much. The time elapsed is a difference of two
/// doubles (seconds + nanoseconds / 1e9), good to a quarter of a microsecond
/// for the dates of this century, and has to be greater than the interval:
/// exactly the interval is still within it.
///
/// @par Thread safety
/// Any number of threads may call anything on one tracker; each call is one
/// indivisible step. A call throws std::system_error, with the code of the
/// lock, if it cannot be locked, and one that makes a key may throw
/// std::bad_alloc; either leaves the tracker as it was. IgnoreWave() outside
/// `OnceWaveEnd` throws nothing.
/// @par
/// A tracker may be a static object, and used in the constructors and
/// destructors of the static objects that are made after it.
/// @par Fork
/// The child has a copy of the tracker as it was, and from then on each goes
/// its own way. Where another thread is in a call at the fork, the child's copy
/// is locked for ever: fork before there are threads, or let the child make a
/// tracker of its own.
/// @par Cost
/// One reading of the clock and one look-up in a hash table; only a new key is
/// copied, and now and then one that makes the table grow moves all. The hash
/// depends on random numbers of the process, so that nobody can make look-ups
/// slow by a choice of keys. Keys are never removed: the memory grows with the
/// number of different keys, so a key should name an event and not carry its
/// details.
/// @par Example
/// @code
/// fairlead::COnlyOnce once(fairlead::OnceThrottle);
/// for (int i = 0; i < 1000; ++i)
///   if (once.Start("disk full", 60)) std::puts("the disk is full");  // Once.
/// @endcode
class COnlyOnce {  // Only what others call is exported: the rest is inlined.
 public:
  /// A tracker that knows no event, in the given mode for good. A value that is
  /// no COnlyMode makes a tracker whose Start() always answers false.
  explicit COnlyOnce(COnlyMode mode) : mode_(mode) {}

  COnlyOnce(const COnlyOnce&) = delete;
  COnlyOnce& operator=(const COnlyOnce&) = delete;

  /// Whether to act on the event now; see the modes above.
  ///
  /// @param key the event. One not seen before is remembered with
  ///     `OnceThrottle`; in the other modes only Update() and IgnoreWave() make
  ///     a key known, and for an unknown one the answer is false.
  /// @param interval in seconds. A negative one is over at once, unless the
  ///     clock has been set back by as much or more; one of infinity or NaN is
  ///     never over.
  FAIRLEAD_EXPORT bool Start(std::string_view key, double interval);

  /// The same, for a whole number of seconds.
  FAIRLEAD_EXPORT bool Start(std::string_view key, int interval);

  /// The same, for an interval of any other arithmetic type, as a double.
  template <typename Seconds>
  requires std::is_arithmetic_v<Seconds>
  bool Start(std::string_view key, Seconds interval) {
    return Start(key, static_cast<double>(interval));
  }

  /// Records that the event occurs now.
  FAIRLEAD_EXPORT void Update(std::string_view key);

  /// With `OnceWaveEnd`: records that the event occurs now, and that the end of
  /// its present wave shall pass untold. The wave after it is told again,
  /// provided that Start() was called between the two.
  ///
  /// In the other modes it does nothing, not even lock.
  FAIRLEAD_EXPORT void IgnoreWave(std::string_view key);

 private:
  // A place in the table: one line of the processor's cache, so that a look-up
  // mostly costs one access to memory.
  struct alignas(64) Slot {
    std::size_t hash = 0;  // 0 where no key stands.
    std::string key;
    COnceItem item;
  };

  Slot& Place(std::string_view key, std::size_t hash);
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
