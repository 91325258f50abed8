// The record of a zeStat_storage: settings and totals, the table of all concepts, and the profiles.
// Lists of concepts are in the order of their texts, so that equal models have equal bytes.
// Format: docs/formats/kc.md
#include "zandrel/statistics/zeStat_storage.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "zandrel/foundation/Restored.h"
#include "zandrel/foundation/prefetch.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/knowledge/Node_order.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/persistence/zeIO.h"
#include "zandrel/statistics/Concept_order.h"
#include "zandrel/statistics/Concept_row.h"
#include "zandrel/statistics/Kept_training.h"
#include "zandrel/statistics/Text_ranks.h"
#include "zandrel/statistics/setting_lists.h"
#include "zandrel/storage/Record_reader.h"

using zandrel::detail::Concept_row;

namespace {

using zandrel::detail::dump_end_of_settings;
using zandrel::detail::dump_rows;
using zandrel::detail::is_stored_with_models;
using zandrel::detail::kAfterMarker;
using zandrel::detail::kBeforeMarker;
using zandrel::detail::kLast;
using zandrel::detail::kRowsOf;
using zandrel::detail::load_end_of_settings;
using zandrel::detail::load_rows;
using zandrel::detail::name_each_once;

// The order of the settings in the record, up to its end, which is the same as in the record of
// zeDefaults. Behind each list there are numbers that are not settings.
constexpr std::string_view kBeforeMessages[] = {
    "UseLikelihoodInMatch", "UseLikelihoodInTrain",          "UseOmitMethod", "SuppressM",
    "SuppressMThreshold",   "LikelihoodHistogramResolution", "NumberOfSlices"};
constexpr std::string_view kBeforeTotals[] = {
    "ClipValue",         "ProfileSize",       "MinPsSize",       "PLifeExpectancy", "DeletePFactor",
    "ActivationOutside", "ActivationInside",  "ActivationTotal", "MinRlimit",       "AverageRlimit",
    "MaxRlimit",         "KeywordsFrequency", "UseNewZC"};

static_assert(name_each_once({kBeforeMessages, kBeforeTotals, kBeforeMarker, kAfterMarker, kLast},
                             is_stored_with_models),
              "the record of zeStat_storage lacks a setting that is stored, or has one twice");

// The fewest bytes of the entries of each list.
constexpr unsigned int kLeastIndexEntrySize = 8;
constexpr unsigned int kLeastProfileSize = 57;
constexpr unsigned int kLeastConceptInfoSize =
    zandrel::detail::kTextOverhead + zandrel::detail::kConceptInfoNumbersSize;
constexpr unsigned int kLeastPSize =
    zandrel::detail::kTextOverhead + zandrel::detail::kPNumbersSize;

// Begins to load the entries that are written next, and later the texts of their concepts. In the
// order of their texts, they are spread over the memory.
template <class Entry>
void announce_texts(const std::vector<const Entry*>& entries, std::size_t next) {
    constexpr std::size_t kAhead = 8;
    if (next + 2 * kAhead < entries.size()) {
        zandrel::detail::prefetch(entries[next + 2 * kAhead]);
    }
    if (next + kAhead < entries.size()) {
        zandrel::detail::prefetch(entries[next + kAhead]->first.identity());
    }
}

// Makes room in the table for `count` entries, if it has too little.
template <class Table>
void make_room(Table& table, unsigned int count) {
    if (count > table.bucket_count()) {
        table.reserve(count);
    }
}

}  // namespace

bool zeStat_storage::writes_compact() const {
    return m_manager != nullptr && !m_manager->m_io.IsNull() && m_manager->m_io->m_compact;
}

void zeStat_storage::Dump(Hio<HSegment>& io) const {
    zeBase::Dump(io);
    dump_settings(io);
    for (const auto& profile : m_profiles) {
        ZANDREL_ASSERT(profile == nullptr || profile->m_node != nullptr, "p.m_cat");
    }
    io.WriteCount(m_profile_index.size());
    for (zeNode* const node : zandrel::detail::in_id_order(m_profile_index)) {
        io << zandrel::detail::reference_to(node) << m_profile_index.at(node);
    }
    if (writes_compact() || !is_complete()) {
        if (writes_compact()) {
            io.WriteCount(0);
        } else {
            m_kept->DumpConceptInfos(io);
        }
        dump_profiles(io, nullptr);
        return;
    }
    io.WriteCount(m_concept_infos.size());
    const zandrel::detail::Text_ranks<Concept_info> ranks(
        m_concept_infos, [&io](const auto& entry) {
            const Concept_info& info = entry.second;
            io << entry.first << info.m_weight << info.m_rate << info.m_num_Ps;
        });
    dump_profiles(io, &ranks);
}

void zeStat_storage::dump_profiles(Hio<HSegment>& io, const Ranks* ranks) const {
    const std::ptrdiff_t empty_slots = std::count(m_profiles.begin(), m_profiles.end(), nullptr);
    io.WriteCount(m_profiles.size() - static_cast<std::size_t>(empty_slots));
    for (std::size_t iprofile = 0; iprofile < m_profiles.size(); ++iprofile) {
        if (m_profiles[iprofile] != nullptr) {
            dump_profile_head(io, *m_profiles[iprofile]);
            dump_training(io, iprofile, *m_profiles[iprofile], ranks);
        }
    }
}

void zeStat_storage::dump_settings(Hio<HSegment>& io) const {
    const bool is_compact = writes_compact();
    dump_rows(io, kRowsOf<kBeforeMessages>, *this);
    io << m_num_msgs;
    dump_rows(io, kRowsOf<kBeforeTotals>, *this);
    io << (is_compact ? 0.0 : m_total_weight) << (is_compact ? 0.0 : m_total_msg_weight)
       << (is_compact ? 0.0 : m_total_sml_weight);
    dump_end_of_settings(io, *this);
}

void zeStat_storage::Load(Hio<HSegment>& io, zeNode* node) {
    const zandrel::detail::Restored<bool> at_end(m_dirty);  // Reading the record is no change.
    clear();
    load_settings(io);
    load_profile_index(io, node);
    if (m_manager != nullptr && !m_manager->m_io.IsNull() && m_manager->m_io->m_for_classifying) {
        load_for_classifying(io, node);
    } else {
        Concept_row row;
        load_concept_infos(io, row);
        load_profiles(io, node, [&](Profile& profile) { load_training(io, profile, row); });
        require_sound();
        require_possible_numbers();
    }
}

// Of the parts that only training needs, we read only the lengths. So 3.5 million texts of a large
// model (20 categories, with phrases) are neither hashed nor added to tables.
void zeStat_storage::load_for_classifying(Hio<HSegment>& io, zeNode* node) {
    auto kept = std::make_unique<zandrel::detail::Kept_training>();
    kept->concept_infos = kept->PassConceptInfos(io);
    load_profiles(io, node, [&](Profile&) { kept->profiles.push_back(kept->PassTraining(io)); });
    require_sound();
    require_possible_heads();
    kept->has_signed_settings = has_signed_settings();
    kept->record = std::move(io.device->buffer());
    m_kept = std::move(kept);
    if (!m_kept->has_concepts) {
        complete();
    }
}

void zeStat_storage::load_kept() {
    try {
        Hio<HSegment> io(new HSegment(m_kept->record, 'r'));
        io.device->Seek(static_cast<int>(m_kept->concept_infos.begin));
        Concept_row row;
        load_concept_infos(io, row);
        for (std::size_t iprofile = 0; iprofile < m_profiles.size(); ++iprofile) {
            io.device->Seek(static_cast<int>(m_kept->profiles[iprofile].begin));
            load_training(io, *m_profiles[iprofile], row);
        }
        require_sound_histograms();
        require_possible_kept();
    } catch (...) {
        m_concept_infos.clear();
        for (const auto& each : m_profiles) {
            each->m_bins.clear();
            each->m_Ps.clear();
        }
        throw;
    }
    m_kept.reset();
}

// `row`: the concepts are added to it.
void zeStat_storage::load_concept_infos(Hio<HSegment>& io, Concept_row& row) {
    zandrel::detail::Record_reader reader(io);
    unsigned int left = reader.Count(kLeastConceptInfoSize);
    make_room(m_concept_infos, left);
    Concept::reserve(left);
    row.reserve(left);
    for (; left > 0; --left) {
        const auto entry = m_concept_infos.try_emplace(Concept::insert_view(reader.Text())).first;
        row.add(entry->first);
        Concept_info& info = entry->second;
        info.m_weight = reader.Get<double>();
        info.m_rate = reader.Get<double>();
        info.m_num_Ps = static_cast<int>(reader.Get<unsigned int>());
    }
}

void zeStat_storage::load_settings(Hio<HSegment>& io) {
    load_rows(io, kRowsOf<kBeforeMessages>, *this);
    io >> m_num_msgs;
    load_rows(io, kRowsOf<kBeforeTotals>, *this);
    io >> m_total_weight >> m_total_msg_weight >> m_total_sml_weight;
    load_end_of_settings(io, *this);
}

void zeStat_storage::load_profile_index(Hio<HSegment>& io, zeNode* node) {
    for (unsigned int left = io.ReadCount(kLeastIndexEntrySize); left > 0; --left) {
        zeNode* const cat = m_manager->LoadCat(io, node);
        ZANDREL_ASSERT(cat != nullptr, "cat");
        io >> m_profile_index[cat];
    }
}

// `take_training` is called for each profile when its training data are next in the stream.
template <class Take_training>
void zeStat_storage::load_profiles(Hio<HSegment>& io, zeNode* node, Take_training&& take_training) {
    const unsigned int profile_count = io.ReadCount(kLeastProfileSize);
    m_profiles.reserve(profile_count);
    for (unsigned int i = 0; i < profile_count; ++i) {
        auto made = std::make_unique<Profile>();
        made->m_Ps.rehash(zandrel::kInitialBuckets);
        load_profile_head(io, *made, node);
        take_training(*made);
        m_profiles.push_back(std::move(made));
    }
}

// The profile need not be one of the model's. If the model is not complete, only its own profiles
// have training data as bytes.
void zeStat_storage::DumpProfile(Hio<HSegment>& io, const Profile& dumped) const {
    dump_profile_head(io, dumped);
    const auto place = std::find_if(m_profiles.begin(), m_profiles.end(),
                                    [&dumped](const auto& each) { return each.get() == &dumped; });
    dump_training(io, static_cast<std::size_t>(place - m_profiles.begin()), dumped, nullptr);
}

void zeStat_storage::dump_profile_head(Hio<HSegment>& io, const Profile& dumped) const {
    const bool is_compact = writes_compact();
    io << dumped.m_size << dumped.m_M << dumped.m_num_msgs << dumped.m_match_value;
    io.WriteByte(static_cast<char>(dumped.m_selection_mark));
    io << (is_compact ? 0.0 : dumped.m_weight) << (is_compact ? 0.0 : dumped.m_msg_weight);
    io << dumped.m_likelihood_age << static_cast<unsigned short>(0);
    io << zandrel::detail::reference_to(dumped.m_node);
    DumpLikelihood(io, dumped);
}

// Writes the parts that only training needs: the histogram, and the profile's entry of each
// concept. `ranks`: may be null.
void zeStat_storage::dump_training(Hio<HSegment>& io, std::size_t iprofile, const Profile& dumped,
                                   const Ranks* ranks) const {
    if (writes_compact()) {
        io.WriteCount(0);
        io.WriteCount(0);
        return;
    }
    if (!is_complete() && iprofile < m_kept->profiles.size()) {
        m_kept->DumpTraining(io, iprofile);
        return;
    }
    io.WriteCount(dumped.m_bins.size());
    for (const Result_bin& bin : dumped.m_bins) {
        io << bin.m_relevant << bin.m_total;
    }
    io.WriteCount(dumped.m_Ps.size());
    const auto dump_P = [&io](const auto& entry) {
        io << entry.first << entry.second.m_weight;
        io.WriteByte(static_cast<char>(entry.second.m_selected));
        io.WriteByte(static_cast<char>(entry.second.m_life));
    };
    if (ranks == nullptr) {
        for (const auto& [prefix, entry] : zandrel::detail::in_text_order(dumped.m_Ps)) {
            dump_P(*entry);
        }
        return;
    }
    const auto entries = ranks->in_order(dumped.m_Ps);
    for (std::size_t i = 0; i < entries.size(); ++i) {
        announce_texts(entries, i);
        dump_P(*entries[i]);
    }
}

void zeStat_storage::LoadProfile(Hio<HSegment>& io, Profile& p, zeNode* node) {
    load_profile_head(io, p, node);
    Concept_row unknown;
    load_training(io, p, unknown);
}

void zeStat_storage::load_profile_head(Hio<HSegment>& io, Profile& p, zeNode* node) {
    io >> p.m_size >> p.m_M >> p.m_num_msgs >> p.m_match_value;
    p.m_selection_mark = static_cast<unsigned char>(io.ReadByte());
    io >> p.m_weight >> p.m_msg_weight;
    if (m_manager->has_node_ids()) {
        unsigned short reserved = 0;
        io >> p.m_likelihood_age >> reserved;
    } else {
        p.m_likelihood_age = 0;
        p.m_match_value = 0.0;
    }
    p.m_node = m_manager->LoadCat(io, node);
    ZANDREL_ASSERT(p.m_node != nullptr, "p.m_cat");
    LoadLikelihood(io, p);
}

// `row`: the concepts of the table of all concepts, in the order of the record.
void zeStat_storage::load_training(Hio<HSegment>& io, Profile& p, Concept_row& row) const {
    zandrel::detail::Record_reader reader(io);
    p.m_bins.resize(reader.Count(kBinSize));
    for (Result_bin& bin : p.m_bins) {
        bin.m_relevant = reader.Get<double>();
        bin.m_total = reader.Get<double>();
    }
    unsigned int left = reader.Count(kLeastPSize);
    make_room(p.m_Ps, left);
    for (row.rewind(); left > 0; --left) {
        P& entry = p.m_Ps[row.take(reader.Text())];
        entry.m_weight = reader.Get<double>();
        entry.m_selected = reader.Byte();
        entry.m_life = reader.Byte();
    }
}

void zeStat_storage::DumpLikelihood(Hio<HSegment>& io, const Profile& dumped) const {
    if (!m_use_train_likelihood) {
        io.WriteCount(0);
        return;
    }
    io.WriteCount(dumped.m_likelihood.size());
    for (const double value : dumped.m_likelihood) {
        io << value;
    }
}

void zeStat_storage::LoadLikelihood(Hio<HSegment>& io, Profile& p) {
    unsigned int sz = 0;
    io >> sz;
    ZANDREL_ASSERT(sz <= Zandrel::LIKELIHOOD_SIZE, "sz <= Zandrel::LIKELIHOOD_SIZE");
    p.m_likelihood.fill(0.0);
    for (unsigned int i = 0; i < sz; ++i) {
        io >> p.m_likelihood[i];
    }
}
