// Comma_locale: a process in which the C library writes and reads "1,5" for one and a half.
#ifndef ZANDREL_TESTS_SUPPORT_COMMA_LOCALE_H_
#define ZANDREL_TESTS_SUPPORT_COMMA_LOCALE_H_

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

// While one is there, the numbers of the process's locale have a comma. The locale is compiled when
// it is needed, by the tool that comes with the C library, since a system need not have any but
// "C"; a character map of our own makes that independent of what else is installed.
//
// A C++ locale of a numpunct of ours would not do: it leaves strtod and printf as they are.
class Comma_locale {
public:
    Comma_locale() : m_folder(testing::TempDir() + "comma." + std::to_string(getpid())) {
        std::filesystem::create_directories(m_folder);
        compile();
        setenv("LOCPATH", m_folder.c_str(), 1);
        if (std::setlocale(LC_NUMERIC, "comma") == nullptr) {
            throw std::runtime_error("localedef makes no locale");
        }
    }

    ~Comma_locale() {
        std::setlocale(LC_NUMERIC, "C");
        unsetenv("LOCPATH");
        std::filesystem::remove_all(m_folder);
    }

    Comma_locale(const Comma_locale&) = delete;
    Comma_locale& operator=(const Comma_locale&) = delete;

private:
    void compile() const {
        std::ofstream(m_folder + "/source") << "LC_NUMERIC\n"
                                               "decimal_point \",\"\n"
                                               "thousands_sep \".\"\n"
                                               "grouping 3;3\n"
                                               "END LC_NUMERIC\n";
        std::ofstream(m_folder + "/charmap") << "<code_set_name> SMALL\n"
                                                "CHARMAP\n"
                                                "<U0000> \\x00\n"
                                                "<U002C> \\x2c\n"
                                                "<U002E> \\x2e\n"
                                                "END CHARMAP\n";
        const std::string quoted = "'" + m_folder + "/";
        const std::string command = "localedef -c -i " + quoted + "source' -f " + quoted +
                                    "charmap' " + quoted + "comma' >'" + m_folder + "/log' 2>&1";
        // It reports the categories that are missing as an error. Whether there is a locale then,
        // the caller sees.
        if (std::system(command.c_str()) == -1) {
            throw std::runtime_error("no command can be run");
        }
    }

    std::string m_folder;
};

#endif  // ZANDREL_TESTS_SUPPORT_COMMA_LOCALE_H_
