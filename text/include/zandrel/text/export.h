// ZANDREL_TEXT_EXPORT: marks what the shared library libzandrel_text exports.
#ifndef ZANDREL_TEXT_INCLUDE_ZANDREL_TEXT_EXPORT_H_
#define ZANDREL_TEXT_INCLUDE_ZANDREL_TEXT_EXPORT_H_

#if defined(__GNUC__)
#define ZANDREL_TEXT_EXPORT __attribute__((visibility("default")))
// For a part of an exported class that callers do not use.
#define ZANDREL_TEXT_LOCAL __attribute__((visibility("hidden")))
#else
#define ZANDREL_TEXT_EXPORT
#define ZANDREL_TEXT_LOCAL
#endif

#endif  // ZANDREL_TEXT_INCLUDE_ZANDREL_TEXT_EXPORT_H_
