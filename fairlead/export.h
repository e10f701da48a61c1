// Marks what the shared library exports; everything else is hidden.

#ifndef FAIRLEAD_EXPORT_H_
#define FAIRLEAD_EXPORT_H_

// For every class and function of the public headers that is not inline. Empty
// for a static library, so that a plugin linked with it does not export our
// functions. CMake and pkg-config define FAIRLEAD_STATIC for its users.
#ifdef FAIRLEAD_STATIC
#define FAIRLEAD_EXPORT
#else
#define FAIRLEAD_EXPORT __attribute__((visibility("default")))
#endif

// Hides a private member function of an exported class. Inline functions of the
// class must not call it.
#define FAIRLEAD_PRIVATE __attribute__((visibility("hidden")))

// FAIRLEAD_EXPORT for a specialization of a template, which g++ exports without
// an attribute, in spite of -fvisibility.
#ifdef FAIRLEAD_STATIC
#define FAIRLEAD_EXPORT_SPECIALIZATION FAIRLEAD_PRIVATE
#else
#define FAIRLEAD_EXPORT_SPECIALIZATION FAIRLEAD_EXPORT
#endif

#endif  // FAIRLEAD_EXPORT_H_
