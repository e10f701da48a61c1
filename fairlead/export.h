// Marks what the shared library shows to its users; all else stays hidden.

#ifndef FAIRLEAD_EXPORT_H_
#define FAIRLEAD_EXPORT_H_

#define FAIRLEAD_EXPORT __attribute__((visibility("default")))

#endif  // FAIRLEAD_EXPORT_H_
