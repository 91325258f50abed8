// ZANDREL_TEXT_EXPORT: marks what the shared library libzandrel_text exports.
#ifndef ZANDREL_TEXT_INCLUDE_ZANDREL_TEXT_EXPORT_H_
#define ZANDREL_TEXT_INCLUDE_ZANDREL_TEXT_EXPORT_H_

#if defined(__GNUC__)
#define ZANDREL_TEXT_EXPORT __attribute__((visibility("default")))
#else
#define ZANDREL_TEXT_EXPORT
#endif

#endif  // ZANDREL_TEXT_INCLUDE_ZANDREL_TEXT_EXPORT_H_
