// Label_clusters: groups of labels whose texts have words in common.
#ifndef ZANDREL_TEXT_SUGGEST_LABEL_CLUSTERS_H_
#define ZANDREL_TEXT_SUGGEST_LABEL_CLUSTERS_H_

#include <cstddef>
#include <string>
#include <vector>

#include "zandrel/foundation/CTProgress.h"

#include "text/analysis/Text_analysis.h"
#include "text/data/Label_groups.h"
#include "text/data/Labelled_text.h"
#include "text/suggest/Label_vectors.h"
#include "text/suggest/Ward_clustering.h"

namespace zandrel {

// The name of the root of a new container.
constexpr const char* kRootName = "root";

// Clusters the labels once, and then divides them into any number of groups. Labels whose texts
// have no word that distinguishes them are in no group.
//
// The result is the same on every machine, in whatever order the texts are.
class Label_clusters {
public:
    // RAISES: qtX<zeWorkflow> 2 "Process interrupted".
    Label_clusters(const std::vector<Labelled_text>& texts, Text_analysis& analysis,
                   CTProgress* progress = nullptr);
    explicit Label_clusters(std::vector<Label_vector> vectors, CTProgress* progress = nullptr);

    // The number of labels that can be grouped.
    std::size_t label_count() const { return m_vectors.size(); }

    // Divides the labels into `count` groups. A group with a single label is left out: its label
    // remains below the root. Groups and their labels are sorted by label. The name of a group
    // joins the two best words of its labels, such as "flight-airport"; if only one word can be in
    // a name, it is that word, and without any it is "group-1". If a label, the root or another
    // group has this name already, more words or a number are added.
    // REQUIRES: 1 <= count <= label_count().
    Label_groups groups(std::size_t count) const;

private:
    std::vector<std::string> m_labels;    // all, sorted
    std::vector<Label_vector> m_vectors;  // of the labels that can be grouped
    std::vector<Cluster_merge> m_merges;
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_SUGGEST_LABEL_CLUSTERS_H_
