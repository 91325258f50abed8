// Archive_report: describes an archive, its categories and its messages.
#ifndef ZANDREL_CLI_ARCHIVE_ARCHIVE_REPORT_H_
#define ZANDREL_CLI_ARCHIVE_ARCHIVE_REPORT_H_

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace zandrel::cli {

class Archive_to_read;

// Prints settings, binding, maturity and fullness, and a table of the categories by name: messages,
// reserved messages, share in the stream, and arrivals per message of the category.
void print_archive_info(Archive_to_read& archive, std::ostream& out);
// The same as an object. `container` is null for an archive that was never bound. A fullness that
// is not finite is null.
nlohmann::ordered_json archive_info_json(Archive_to_read& archive);

struct Listed_messages {
    std::string category = {};  // only its messages; empty: all
    bool is_new = false;        // only those that a container has not learned
};

// Prints a line for each message, oldest first: number, time, "reserved" or "free", external id,
// labels and text, with tabs between them. JSON: an object for each message on a line; its `id` is
// null if the message was added without an external id. Data readers accept these objects.
// RAISES: what Archive_to_read::read raises.
void list_messages(Archive_to_read& archive, const Listed_messages& listed, bool writes_json,
                   std::ostream& out);

// Prints everything about messages. JSON: an object on a line for each.
// RAISES: what number_of_message and Archive_to_read::read raise.
void show_messages(Archive_to_read& archive, const std::vector<std::string>& ids, bool are_numbers,
                   bool writes_json, std::ostream& out);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_ARCHIVE_ARCHIVE_REPORT_H_
