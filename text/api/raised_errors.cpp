// The order of the handlers matters: a class comes before its base.
#include "text/api/raised_errors.h"

#include <cerrno>
#include <new>
#include <string_view>
#include <sys/stat.h>
#include <system_error>

#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/qtX.h"

#include "text/errors.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

constexpr int kInterruption = 2;  // of zeWorkflow

// An end of a message that names an option of the program, and what a caller of the library can do.
struct Advice {
    std::string_view of_program;
    std::string_view of_library;
};

constexpr Advice kAdvice[] = {
    {"; --wait SECONDS waits for it", ""},
    {"; --max-line raises the limit", ""},
    {": --pair gives this pair too", ": field_columns gives this field too"},
    {", or give --format or --header", ", or give format or has_header"},
    {", for which there is no --text", ", for which there are no text_columns"},
    {", for which there is no --label", ", for which there are no label_columns"},
    {", for which there is no --pair", ", for which there are no field_columns"},
    {", for which there is no --header", ", for which there is no has_header"},
    {", for which there is no --label-separator", ", for which there is no label_separator"},
    {", for which there are no --format, --text, --label, --pair, --header and --label-separator",
     ", for which a Record_form has no options"},
};
constexpr std::string_view kPairOption = "--pair ";

// The parts of the library write messages for the program. A caller of the classes has no command
// line, so it gets the names of the members instead.
std::string without_options(std::string message) {
    for (const Advice& advice : kAdvice) {
        if (message.ends_with(advice.of_program)) {
            message.resize(message.size() - advice.of_program.size());
            message += advice.of_library;
            break;
        }
    }
    if (message.starts_with(kPairOption)) {
        message.replace(0, kPairOption.size(), "field_columns ");
    }
    return message;
}

[[noreturn]] void raise(Error_code code, const File_error& error) {
    throw Error(code, without_options(error.what()), error.named_file(), error.line_number(),
                error.cause());
}

[[noreturn]] void raise(Error_code code, const std::exception& error) {
    throw Error(code, shown_complaint(error.what()), {}, 0, std::current_exception());
}

// Made when the library is loaded, since there may be no memory for it later.
// Never destroyed: other threads may be in a call when the process ends.
const Error& lack_of_memory() {
    static const Error& error = *new Error(Error_code::out_of_memory, "not enough memory");
    return error;
}

[[maybe_unused]] const Error& s_made_early = lack_of_memory();

[[noreturn]] void raise_translated(Error_code of_data) {
    try {
        throw;
    } catch (const Error&) {
        throw;
    } catch (const Other_file& error) {
        raise(of_data == Error_code::damaged ? Error_code::not_a_container : of_data, error);
    } catch (const Data_error& error) {
        raise(of_data, error);
    } catch (const Busy_input& error) {
        raise(Error_code::busy, error);
    } catch (const Input_error& error) {
        raise(Error_code::cannot_read, error);
    } catch (const Busy_output& error) {
        raise(Error_code::busy, error);
    } catch (const Output_error& error) {
        raise(Error_code::cannot_write, error);
    } catch (const Usage_error& error) {
        throw Error(Error_code::invalid_argument, without_options(shown_complaint(error.what())),
                    {}, 0, std::current_exception());
    } catch (const qtX<zeWorkflow>& error) {
        raise(error.number() == kInterruption ? Error_code::interrupted : Error_code::failed,
              error);
    } catch (const std::bad_alloc&) {
        throw Error(Error_code::out_of_memory, "not enough memory", {}, 0,
                    std::current_exception());
    } catch (const std::length_error& error) {
        raise(Error_code::invalid_argument, error);  // a text that is too long to be analysed
    } catch (const std::exception& error) {
        raise(Error_code::failed, error);
    } catch (...) {
        throw Error(Error_code::failed, "unknown error", {}, 0, std::current_exception());
    }
}

}  // namespace

// Making an Error needs memory; a copy of one does not.
void raise_as_error(Error_code of_data) {
    try {
        raise_translated(of_data);
    } catch (const std::bad_alloc&) {
        throw Error(lack_of_memory());
    }
}

void refuse_argument(const std::string& message) {
    throw Error(Error_code::invalid_argument, message);
}

void check_path(const std::string& path) {
    if (path.empty()) {
        refuse_argument("the name of the file is empty");
    }
    if (path.find('\0') != std::string::npos) {  // the system would use what is before it
        refuse_argument("the name of the file has a zero byte: " + shown_file(path));
    }
}

void check_exists(const std::string& path) {
    check_path(path);
    struct stat ignored = {};
    if (::stat(path.c_str(), &ignored) != 0 && (errno == ENOENT || errno == ENOTDIR)) {
        const Input_error error(path, std::generic_category().message(ENOENT));
        throw Error(Error_code::not_found, error.what(), path);
    }
}

}  // namespace zandrel
