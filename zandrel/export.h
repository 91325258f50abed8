// The mark of everything that callers of the shared library may use.
// The library is compiled with hidden visibility, so what does not carry the mark stays inside.
#ifndef ZANDREL_EXPORT_H_
#define ZANDREL_EXPORT_H_

// It is written between `class` and the name of a class, or in front of a function. Exception
// templates carry it too, so that their type information is one and the same on both sides of the
// border.
#define ZANDREL_EXPORT __attribute__((visibility("default")))

#endif  // ZANDREL_EXPORT_H_
