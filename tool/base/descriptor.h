// A descriptor that is closed at the end of its scope.

#ifndef FAIRLEAD_TOOL_BASE_DESCRIPTOR_H_
#define FAIRLEAD_TOOL_BASE_DESCRIPTOR_H_

#include <unistd.h>

namespace fairlead::tool {

/// Owns what open() and its like return, -1 included.
class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (IsOpen()) close(number_);
  }

  bool IsOpen() const { return number_ != -1; }
  int number() const { return number_; }

 private:
  const int number_;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_BASE_DESCRIPTOR_H_
