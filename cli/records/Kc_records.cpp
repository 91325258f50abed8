// Decodes each record of a container by itself, with the library's own readers. The library reads a
// container as a whole and stops at the first error. Here a record that cannot be read is noted,
// and the next one is tried.
//
// The record of a statistical classifier ends with the id of its model, and reading it also reads
// the model. If this fails, we read the model by itself: an error means that the model is damaged,
// otherwise the classifier is.
#include "cli/records/Kc_records.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <string_view>

#include "zandrel/classification/zeClassifier.h"
#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/foundation/qtScrambler.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/persistence/CachePack.h"
#include "zandrel/persistence/Hpack.h"
#include "zandrel/persistence/KcIoMode.h"
#include "zandrel/persistence/Kc_steps.h"
#include "zandrel/persistence/zeIO.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"
#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/HreclaimCache.h"
#include "zandrel/storage/SegBuf.h"

#include "cli/records/Package_contents.h"
#include "cli/records/Record_reader.h"
#include "text/kc/Kc_damage.h"
#include "text/kc/Kc_paths.h"
#include "text/wording/Shown_text.h"

namespace zandrel::cli {

namespace {

// A damaged record can link nodes in a circle, and trees can be deep. So a path shows the lowest
// levels only.
constexpr int kMostLevels = 20;

std::string path_of(const zeNode& node) {
    std::string path = shown_name(node.m_concept.text().view());
    const zeNode* above = node.m_parent;
    for (int level = 1; above != nullptr && level < kMostLevels; ++level) {
        path.insert(0, shown_name(above->m_concept.text().view()) + '/');
        above = above->m_parent;
    }
    return shortened(above == nullptr ? path : "…/" + path, kLongestValue);
}

std::string key_of(unsigned int id) {
    return Hpack::MakeStringKey(id).str();
}

void add_sizes_of(const zeBase& object, Kc_record& record) {
    if (const auto* const storage = dynamic_cast<const zeStat_storage*>(&object)) {
        record.sizes = {{"categories", storage->m_profile_index.size()},
                        {"concepts", storage->m_concept_infos.size()},
                        {"messages", static_cast<std::uint64_t>(storage->m_num_msgs)}};
    } else if (const auto* const matcher = dynamic_cast<const zeStat_matcher*>(&object)) {
        record.sizes = {{"categories", matcher->category_count()},
                        {"concepts", matcher->m_table.size()}};
    } else if (const auto* const switcher = dynamic_cast<const zeSwitcher*>(&object)) {
        record.sizes = {{"rules", switcher->category_count()}};
    }
}

class Decoder {
public:
    Decoder(const Record_file& file, const Wanted_records& is_wanted)
        : m_file(file), m_is_wanted(is_wanted) {}

    Kc_records decode() {
        const unsigned int version = m_file.header.version;
        if (version == 0 || version > zandrel::detail::kKcVersion) {
            m_found.problem = "the version " + std::to_string(version) + " is unknown";
            return m_found;
        }
        try {
            open();
        } catch (const qtxAll& error) {
            m_found.problem = explanation_of(error);
            return m_found;
        }
        m_found.knows_all_references = true;
        if (reads_manager()) {
            const std::vector<zeNode*> nodes = zandrel::detail::classifier_nodes(m_manager.m_root);
            m_found.records[zandrel::detail::kManagerKey].sizes = {
                {"nodes", m_manager.m_physical_tree->m_nodes.size()},
                {"classifiers", nodes.size()}};
            for (zeNode* const node : nodes) {
                decode(*node);
            }
        }
        return m_found;
    }

private:
    void open() {
        m_manager.m_io = qtPtrLight<zeIO>(new zeIO(&m_manager));
        zeIO& io = *m_manager.m_io;
        if (m_file.header.is_package) {
            io.m_io_mode = KcIoMode::DIRECT_IO;
            io.m_pack.Open(m_file.path, 'r');
        } else {
            io.m_io_mode = KcIoMode::CACHED_IO;
            io.m_read_only = true;
            io.m_cache_pack = qtPtrLight<CachePack>(new CachePack);
            io.m_cache_pack->Open(m_file.path, false, true);
        }
        io.m_version = m_file.header.version;
        m_manager.m_version = m_file.header.version;
    }

    // REQUIRES: `record` is empty.
    void get(const std::string& key, SegBuf& record) {
        zeIO& io = *m_manager.m_io;
        if (m_file.header.is_package) {
            io.m_pack.GetItem(key, record);
        } else {
            io.m_cache_pack->GetItem(key, record);
        }
        if (m_manager.has_node_ids()) {  // since version 2, as the scrambling
            zandrel::detail::ScrambleRuns(record, qtScrambler::kSeed);
        }
    }

    // Without the manager's record, we know neither nodes nor references.
    bool reads_manager() {
        Kc_record& record = m_found.records[zandrel::detail::kManagerKey];
        try {
            SegBuf bytes;
            get(zandrel::detail::kManagerKey, bytes);
            Hio<HSegment> io(new HSegment(bytes, 'r'));
            m_manager.Load(io);
        } catch (const qtxAll& error) {
            record.problem = explanation_of(error);
            m_found.knows_all_references = false;
        }
        return record.problem.empty();
    }

    void decode(zeNode& node) {
        const unsigned int id = node.m_classifier_id;
        const auto [place, is_new] = m_found.records.try_emplace(key_of(id));
        Kc_record& record = place->second;
        if (!is_new) {
            record.problem = "it belongs to " + path_of(node) + " too";
            return;
        }
        record.owner = path_of(node);
        if (!m_is_wanted(key_of(id))) {
            m_found.knows_all_references = false;
            return;
        }
        try {
            const zeBase* const object = m_manager.m_io->LoadObject(id, nullptr);
            require_place_of(*object, node);
            add_sizes_of(*object, record);
            if (const auto* const matcher = dynamic_cast<const zeStat_matcher*>(object)) {
                enter_model(matcher->m_storage->m_id, record, matcher->m_storage);
            }
        } catch (const qtxAll& error) {
            blame(node, explanation_of(error));
        }
        release_objects();
    }

    static void require_place_of(const zeBase& object, const zeNode& node) {
        const auto* const classifier = dynamic_cast<const zeClassifier*>(&object);
        if (classifier == nullptr || classifier->m_node != &node) {
            throw qtX<zeIO>(11, "Classifier without its node in kc file",
                            {qtString(std::to_string(object.m_id))});
        }
    }

    // `model`: null if it cannot be read.
    void enter_model(unsigned int id, Kc_record& classifier, const zeStat_storage* model) {
        const auto [place, is_new] = m_found.records.try_emplace(key_of(id));
        if (!is_new) {
            classifier.problem = "its statistical model, object " + std::to_string(id) +
                                 ", belongs to another classifier";
            return;
        }
        place->second.owner = classifier.owner;
        if (model != nullptr) {
            add_sizes_of(*model, place->second);
        }
    }

    // Decides which of the two records, that of a classifier or that of its model, has the problem.
    void blame(zeNode& node, const std::string& problem) {
        release_objects();
        Kc_record& record = m_found.records[key_of(node.m_classifier_id)];
        record.problem = problem;
        const std::optional<unsigned int> id = model_of(node.m_classifier_id);
        if (!id) {
            return;
        }
        record.problem.clear();
        enter_model(*id, record, nullptr);
        if (record.problem.empty()) {
            Kc_record& model = m_found.records[key_of(*id)];
            model.problem = problem_of_model(*id, node, model);
            record.problem = model.problem.empty() ? problem : "";
        }
    }

    // Returns the id of the model that a classifier names, if its record can be read that far.
    std::optional<unsigned int> model_of(unsigned int classifier) {
        try {
            SegBuf bytes;
            get(key_of(classifier), bytes);
            Hio<HSegment> io(new HSegment(bytes, 'r'));
            unsigned int type = 0;
            unsigned int id = 0;
            io >> type;
            if (type != ZE_STAT || bytes.size < 2 * kIdSize) {
                return std::nullopt;
            }
            io.device->Seek(static_cast<int>(bytes.size - kIdSize));
            io >> id;
            return is_model(id) ? std::optional(id) : std::nullopt;
        } catch (const qtxAll&) {
            return std::nullopt;
        }
    }

    bool is_model(unsigned int id) {
        SegBuf bytes;
        get(key_of(id), bytes);
        unsigned int type = 0;
        Hio<HSegment>(new HSegment(bytes, 'r')) >> type;
        return type == zandrel::kStorageObjectType;
    }

    std::string problem_of_model(unsigned int id, zeNode& node, Kc_record& record) {
        std::string problem;
        try {
            add_sizes_of(*m_manager.m_io->LoadObject(id, &node), record);
        } catch (const qtxAll& error) {
            problem = explanation_of(error);
        }
        release_objects();
        return problem;
    }

    // No node has one of the objects yet. An object that could not be read completely may be among
    // them, so we delete each by itself.
    void release_objects() {
        const auto objects = std::move(m_manager.m_objects);
        m_manager.m_objects.clear();
        for (const auto& [id, object] : objects) {
            const std::unique_ptr<zeBase> owned(object);
        }
    }

    const Record_file& m_file;
    const Wanted_records& m_is_wanted;
    zeManager m_manager;
    Kc_records m_found;
};

}  // namespace

bool has_usable_records(const Record_file& file) {
    const auto is_whole = [](const Record_item& item) { return item.problem.empty(); };
    return file.package && file.package->is_container && file.index.problem.empty() &&
           !file.header.is_stale() && !file.header.is_unfinished() &&
           std::all_of(file.index.items.begin(), file.index.items.end(), is_whole);
}

Kc_records read_kc_records(const Record_file& file, const Wanted_records& is_wanted) {
    return Decoder(file, is_wanted).decode();
}

}  // namespace zandrel::cli
