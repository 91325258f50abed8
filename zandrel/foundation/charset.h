// charset: conversion of texts from one character set to another.
#ifndef ZANDREL_FOUNDATION_CHARSET_H_
#define ZANDREL_FOUNDATION_CHARSET_H_

#include "zandrel/export.h"
#include "zandrel/foundation/qtString.h"

// The text in the charset `to`. The names are those that the C library's iconv knows, such as
// "UTF-8" and "ISO-8859-1"; a suffix "//TRANSLIT" of `to` lets it take the nearest characters.
// The text may hold zero bytes.
// RAISES: qtXbase 0 "Cannot convert from charset " (arguments: `from`, `to`) for a pair that the C
// library does not convert, also with a null or empty name, which would stand for the charset of
// the process's locale; qtXbase 0 "Cannot convert text: " (arguments: the text, `from`, `to`) for a
// text that is none of `from`, or has a character that `to` lacks.
// COST: opens a converter anew; linear in the text.
ZANDREL_EXPORT qtString ConvertCharset2Charset(const char* to, const qtString& text,
                                               const char* from);

#endif  // ZANDREL_FOUNDATION_CHARSET_H_
