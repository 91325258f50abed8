// charset: conversion of texts from one character set to another.
#ifndef ZANDREL_FOUNDATION_CHARSET_H_
#define ZANDREL_FOUNDATION_CHARSET_H_

#include "zandrel/export.h"
#include "zandrel/foundation/qtString.h"

// Converts a text from the charset `from` to the charset `to`. The names are those that iconv of
// the C library knows, such as "UTF-8" and "ISO-8859-1". With the suffix "//TRANSLIT" of `to`,
// missing characters are replaced by similar ones. The text may contain zero bytes.
// RAISES: qtXbase 0 "Cannot convert from charset " (arguments: `from`, `to`) for a pair that the C
// library does not convert. We refuse a null name in the same way, and a name that is empty or
// begins with "/", which would mean the charset of the process's locale. qtXbase 0 "Cannot convert
// text: " (arguments: the text, `from`, `to`) for a text that is not valid in `from`, or has a
// character that `to` lacks.
// COST: opens a converter for each call; linear in the text.
ZANDREL_EXPORT qtString ConvertCharset2Charset(const char* to, const qtString& text,
                                               const char* from);

#endif  // ZANDREL_FOUNDATION_CHARSET_H_
