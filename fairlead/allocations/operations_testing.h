// For the test of allocations: every operation of the library. Not installed.

#ifndef FAIRLEAD_ALLOCATIONS_OPERATIONS_TESTING_H_
#define FAIRLEAD_ALLOCATIONS_OPERATIONS_TESTING_H_

#include <functional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/testing/temp_folder.h"

namespace fairlead::internal {

// Texts too long for a string without memory of its own.
inline const std::string kSection = "a section with a long name";
inline const std::string kKey = "a key that has a long name";
inline const std::string kValue = "a value that is long enough to need memory";
inline const std::string kNew = "a name that is nowhere in the file";
inline const std::string kIniText =
    "[a]\nk=v\n# on a section\n[" + kSection + "]\n# on a key\n;" + kKey +
    "=off\n" + kKey + "=" + kValue + "\nlast=" + kValue + "\n";

// What a test calls, and then compares.
using Act = std::function<std::string()>;

struct Prepared {
  Act act;  // Returns its result; memory is short meanwhile.
  Act state =
      {};  // Returns what an object has become, if files do not show it.
};

enum class Memory {
  kTaken,          // By operator new, and perhaps by the system, too.
  kTakenBySystem,  // By malloc() alone.
  kNone,
};

struct Operation {
  const char* name;
  std::vector<std::string_view> functions;  // Their signatures.
  std::function<Prepared(const TempFolder& folder)> prepare;
  Memory memory = Memory::kTaken;
  // Results other than std::bad_alloc where memory is short. The state may be
  // either then.
  std::vector<std::string> failures = {};
};

// Prints the name in messages.
inline void PrintTo(const Operation& operation, std::ostream* out) {
  *out << operation.name;
}

// An operation without files or an object that stays.
inline std::function<Prepared(const TempFolder&)> Call(Act act) {
  return [act = std::move(act)](const TempFolder&) {
    return Prepared{.act = act};
  };
}

// In these folders of the library: text, cmdline, bits, crypto, time.
extern const std::vector<Operation> kBasicOperations;
extern const std::vector<Operation> kFileOperations;      // ini: files.
extern const std::vector<Operation> kDocumentOperations;  // ini: documents.
extern const std::vector<Operation> kNetOperations;       // log, net.

}  // namespace fairlead::internal

#endif  // FAIRLEAD_ALLOCATIONS_OPERATIONS_TESTING_H_
