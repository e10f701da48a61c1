// For tests: the allocations of this program, which can be made to fail. Not
// installed.

#ifndef FAIRLEAD_ALLOCATIONS_ALLOCATIONS_TESTING_H_
#define FAIRLEAD_ALLOCATIONS_ALLOCATIONS_TESTING_H_

namespace fairlead::internal {

// Makes allocation number `first`, from 0, fail from the constructor to the
// destructor, and with `lasts` all later ones; in all threads but the peers'.
class FailingAllocations {
 public:
  FailingAllocations(int first, bool lasts);
  FailingAllocations(const FailingAllocations&) = delete;
  FailingAllocations& operator=(const FailingAllocations&) = delete;
  ~FailingAllocations() { Stop(); }

  void Stop();

  // Since the constructor.
  static int failed();
  static int made();
};

// What was allocated and not freed.
long LiveAllocations();

// Called on a thread that plays another process: no allocation of it fails.
void BePeer();

}  // namespace fairlead::internal

#endif  // FAIRLEAD_ALLOCATIONS_ALLOCATIONS_TESTING_H_
