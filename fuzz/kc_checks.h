// Properties that must be true for any bytes that are read as the file of a container.
#ifndef ZANDREL_FUZZ_KC_CHECKS_H_
#define ZANDREL_FUZZ_KC_CHECKS_H_

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/classification/zeRule_parser.h"
#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/messages/zeSml.h"
#include "zandrel/messages/zeSml_feeder.h"
#include "zandrel/persistence/Hpack.h"
#include "zandrel/persistence/zeIO.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"
#include "zandrel/storage/HioErr.h"
#include "zandrel/storage/SegBuf.h"

#include "tests/support/kc_errors.h"

inline void require(bool claim, const char* text) {
    if (!claim) {
        std::fprintf(stderr, "broken: %s\n", text);
        std::abort();
    }
}

// Returns whether this is an error that a container may raise when it is used or written after
// reading.
inline bool is_error_of_use(const std::exception& raised) {
    return is_qtx<zeWorkflow>(raised, {0}) || is_qtx<zeManager>(raised, {4}) ||
           is_qtx<zeSml>(raised, {0}) ||
           is_assertion(raised, {"stat_matcher", "!m_storage->end(iprofile)", "object", "p.m_cat"});
}

using File_bytes = std::vector<char>;

// Reads the bytes as a container. Returns false, with an empty manager, if they are refused.
inline bool loads(zeManager& manager, const File_bytes& bytes) {
    qtPtr<qtBuffer> buffer(new qtBuffer{bytes});
    try {
        manager.Read(buffer, nullptr, nullptr);
        return true;
    } catch (const std::exception& raised) {
        require(is_error_of_load(raised), raised.what());
    }
    require(manager.m_objects.empty() && manager.m_root == nullptr &&
                manager.m_physical_tree->m_nodes.empty() && manager.m_logical_tree->nodes.empty() &&
                manager.m_last_object_id == 0,
            "a refused file leaves nothing");
    return false;
}

// Calls one operation of a container, which may be refused.
template <class Operation>
bool succeeds(Operation&& operation) {
    try {
        operation();
    } catch (const std::exception& raised) {
        require(is_error_of_use(raised), raised.what());
        return false;
    }
    return true;
}

// Checks each statistical classifier separately, because the score of a rule can be any number.
inline void require_scores(zeManager& manager, zeMsg& msg) {
    for (const auto& [id, object] : manager.m_objects) {
        auto* const matcher = dynamic_cast<zeStat_matcher*>(object);
        if (matcher == nullptr) {
            continue;
        }
        zeResult_set results(-1.0, -1);
        succeeds([&] { matcher->classify(msg, results, 1.0, false); });
        for (const zeResult& result : results.results) {
            require(result.score >= 0.0 && result.score <= 1.0, "a score is within 0 and 1");
        }
    }
}

inline void ask(zeManager& manager) {
    zeSml_feeder feeder;
    for (const char* const word : {"goal", "bank", "soup"}) {
        feeder.add_concept(Concept::insert_view(word), 1.0);
    }
    zeMsg msg;
    msg.smls.front() = qtPtrLight<zeSml>(new zeSml(feeder, 0.0));
    succeeds([&] {
        // At most 10 results are kept, because after damage to scores a walk may find each node
        // again and again.
        zeResult_set results(0.01, 10);
        manager.GetWorkflow()->classify(msg, results, true, false);
    });
    require_scores(manager, msg);
}

// Reads a saved file, saves the container again and returns the new bytes.
inline File_bytes saved_again(const File_bytes& saved) {
    zeManager manager;
    require(loads(manager, saved), "what is saved can be read");
    qtPtr<qtBuffer> again;
    manager.Write(again, nullptr, nullptr);
    return again->bytes;
}

// Classifies with a container that was read, and saves it. The saved file must be readable, and
// saving it again must give the same bytes.
inline void use(zeManager& manager) {
    ask(manager);
    qtPtr<qtBuffer> saved;
    if (succeeds([&] { manager.Write(saved, nullptr, nullptr); })) {
        require(saved_again(saved->bytes) == saved->bytes, "what is read is saved as it was");
    }
}

#endif  // ZANDREL_FUZZ_KC_CHECKS_H_
