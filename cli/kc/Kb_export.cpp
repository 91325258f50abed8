// The knowledge base is made in memory, so that an error of reading the container and an error of
// writing the file cannot be confused.
#include "cli/kc/Kb_export.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <ostream>
#include <string_view>

#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/export/zeDump5.h"
#include "zandrel/foundation/Restored.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/Progress.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zePhysicalTree.h"

#include "text/errors.h"
#include "text/kc/Cached_kc.h"
#include "text/kc/Kc_edit.h"
#include "text/kc/Kc_file.h"
#include "text/kc/Kc_lock.h"
#include "text/kc/Kc_paths.h"
#include "text/kc/Replacement_file.h"
#include "text/kc/Target_file.h"
#include "text/wording/Shown_text.h"

namespace zandrel::cli {

namespace {

// A knowledge base begins with four letters and its version.
// RAISES: Input_error.
bool begins_as_kb(const Target_file& target) {
    std::array<char, sizeof BaseProfilesGroup::kMagic + 4> begin = {};
    errno = 0;
    std::ifstream in(target.path(), std::ios::binary);
    if (!in) {
        throw Input_error(target.name(), reason_of_failure());
    }
    in.read(begin.data(), begin.size());
    const std::string_view magic(BaseProfilesGroup::kMagic, sizeof BaseProfilesGroup::kMagic);
    return std::string_view(begin.data(), begin.size()) ==
           std::string(magic) + std::string({0, 0, 0, BaseProfilesGroup::kVersion});
}

// RAISES: Usage_error; Data_error; Input_error; what Target_file::check_replaceable raises.
void check_target(const Target_file& target, const Kb_options& options) {
    target.check_replaceable();
    if (!target.status()) {
        return;
    }
    if (!begins_as_kb(target)) {
        throw Data_error(target.name(),
                         "this is no knowledge base, and export replaces no other file");
    }
    if (!options.replaces) {
        throw Usage_error(shown_file(target.name()) +
                          " is a knowledge base already; --replace replaces it");
    }
}

// The path of a rule node of this name that has a default category.
std::string path_of_default(const zeManager& manager, std::string_view name) {
    for (zeNode* const node : manager.m_physical_tree->GetClassifierNodes()) {
        const auto* const switcher = dynamic_cast<const zeSwitcher*>(node->m_classifier);
        if (switcher != nullptr && switcher->m_default != nullptr &&
            node->m_concept.view() == name) {
            const zeLogicalTree& tree = *manager.m_logical_tree;
            return shown_path(tree, tree.FindCategory(node).id);
        }
    }
    return shown_name(name);
}

// RAISES: Data_error.
[[noreturn]] void refuse(const std::string& file, const zeManager& manager,
                         const qtX<zeDump5>& error) {
    if (error.number() == 0) {
        throw Data_error(file, "the rule node " +
                                   path_of_default(manager, error.arguments().front().view()) +
                                   " has a default category, which a knowledge base cannot have");
    }
    if (error.number() == 1) {
        throw Data_error(file, "two children of one node would have the name " +
                                   shown_name(error.arguments().front().view()));
    }
    throw Data_error(file, "a compact container has no statistics to export");
}

// RAISES: Data_error; what the library raises.
Kb_summary convert(const Kb_options& options, zeManager& manager, qtBuffer& buffer) {
    zandrel::detail::Progress(options.progress).set_status("Converting the container");
    const zandrel::detail::Restored<CTProgress*> at_end(manager.m_progress, options.progress);
    zeDump5 dump(&manager);
    try {
        dump.Dump(buffer, options.zero_parent_score);
    } catch (const qtX<zeDump5>& error) {
        refuse(options.kc_file, manager, error);
    }
    Kb_summary summary;
    summary.profiles = dump.m_group.profiles.size();
    for (const Profile& profile : dump.m_group.profiles) {
        summary.concepts += profile.weights.size();
    }
    summary.bytes = buffer.bytes.size();
    return summary;
}

}  // namespace

Kb_summary export_kb(const Kb_options& options) {
    check_target(Target_file(options.kb_file), options);
    // From here on we would notice another file of this name, which may be the user's data.
    const Kc_lock lock(options.kb_file, {0.0, options.progress});
    check_target(lock.target(), options);
    Replacement_file file(lock);
    qtBuffer buffer;
    Kb_summary summary;
    view_kc(
        options.kc_file, options.progress,
        [&](qtPtrLight<zeManager>& manager) {
            summary = convert(options, *manager, buffer);
            // An export reads all of the file, so it can verify the seal as well.
            if (is_cached(*manager)) {
                verify_seal(options.kc_file);
            }
        },
        options.bound);
    file.fill([&buffer](std::ostream& out) {
        out.write(buffer.bytes.data(), static_cast<std::streamsize>(buffer.bytes.size()));
    });
    file.take_place();
    return summary;
}

}  // namespace zandrel::cli
