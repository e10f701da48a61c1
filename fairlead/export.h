// Marks what a shared library shows to its users; all else stays hidden.

#ifndef FAIRLEAD_EXPORT_H_
#define FAIRLEAD_EXPORT_H_

// Every class and function of the public headers that is not inline has this.
// In a static library it does nothing, so that a plugin linked with one does
// not offer our functions to others. CMake and pkg-config define
// FAIRLEAD_STATIC for users of a static library.
#ifdef FAIRLEAD_STATIC
#define FAIRLEAD_EXPORT
#else
#define FAIRLEAD_EXPORT __attribute__((visibility("default")))
#endif

// Hides a private member function of an exported class. No inline function of
// the class may call it.
#define FAIRLEAD_PRIVATE __attribute__((visibility("hidden")))

// The same as FAIRLEAD_EXPORT, for a specialization of a template: g++ exports
// one that has no attribute, whatever -fvisibility says.
#ifdef FAIRLEAD_STATIC
#define FAIRLEAD_EXPORT_SPECIALIZATION FAIRLEAD_PRIVATE
#else
#define FAIRLEAD_EXPORT_SPECIALIZATION FAIRLEAD_EXPORT
#endif

#endif  // FAIRLEAD_EXPORT_H_
