// Comma_locale: makes the C library write and read one and a half as "1,5".
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

// While an object exists, numbers in the process's locale have a decimal comma. We compile the
// locale with the C library's own tool, since a system may have no locale but "C". We also bring
// our own character map, so that nothing else has to be installed.
//
// A C++ locale with our own numpunct is not enough: strtod and printf ignore it.
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
        // The tool exits with an error because some categories are missing. So we do not check its
        // status; the caller checks that the locale exists.
        if (std::system(command.c_str()) == -1) {
            throw std::runtime_error("no command can be run");
        }
    }

    std::string m_folder;
};

#endif  // ZANDREL_TESTS_SUPPORT_COMMA_LOCALE_H_
