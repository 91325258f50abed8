// The exceptions of the engine: qtxAll, qtXbase and the family qtX<T>.
#ifndef ZANDREL_FOUNDATION_QTX_H_
#define ZANDREL_FOUNDATION_QTX_H_

#include <cstddef>
#include <exception>
#include <string_view>
#include <utility>
#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/qtString.h"

// The base of the engine's own exceptions. It has a message in plain English, and a category and a
// severity, by which an application sees which subsystem failed, and how badly.
//
// A message is cut to 1023 bytes, so that a caller may copy any message to a buffer of 1024.
class ZANDREL_EXPORT qtxAll : public std::exception {
public:
    static constexpr std::size_t kLongestMessage = 1023;

    qtxAll(const qtString& message, int category, int severity)
        : m_message(message.substr(0, kLongestMessage)),
          m_category(category),
          m_severity(severity) {}

    qtxAll(const qtxAll&) = default;
    qtxAll& operator=(const qtxAll&) = default;
    ~qtxAll() override;

    const char* what() const noexcept override { return m_message.c_str(); }

    const qtString& message() const noexcept { return m_message; }

    int category() const noexcept { return m_category; }

    int severity() const noexcept { return m_severity; }

private:
    qtString m_message;
    int m_category;
    int m_severity;
};

// An error that a user can cause. It has a message, a number and a list of arguments. The class
// that raises it defines the meaning of the number. Some functions raise it directly, with the
// number 0.
class ZANDREL_EXPORT qtXbase : public qtxAll {
public:
    static constexpr int kCategory = 2;
    static constexpr int kSeverity = 1;

    explicit qtXbase(const qtString& message, int number = 0, std::vector<qtString> arguments = {})
        : qtxAll(message, kCategory, kSeverity),
          m_number(number),
          m_arguments(std::move(arguments)) {}

    qtXbase(const qtXbase&) = default;
    qtXbase& operator=(const qtXbase&) = default;
    ~qtXbase() override;

    int number() const noexcept { return m_number; }

    const std::vector<qtString>& arguments() const noexcept { return m_arguments; }

private:
    int m_number;
    std::vector<qtString> m_arguments;
};

// The exception that class `T` raises, so that a handler knows from the type which class failed.
template <class T>
class ZANDREL_EXPORT qtX : public qtXbase {
public:
    explicit qtX(int number, const qtString& message, std::vector<qtString> arguments = {})
        : qtXbase(message, number, std::move(arguments)) {}
};

#endif  // ZANDREL_FOUNDATION_QTX_H_
