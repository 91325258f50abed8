// zeDump5: converts a knowledge container to a knowledge base of version 5, an older form.
#ifndef ZANDREL_EXPORT_ZEDUMP5_H_
#define ZANDREL_EXPORT_ZEDUMP5_H_

#include <vector>

#include "zandrel/export.h"
#include "zandrel/export/kb/HierarchicalMapingNode.h"
#include "zandrel/export/kb/HierarchicalProfilesGroup.h"
#include "zandrel/export/kb/Profile.h"
#include "zandrel/foundation/hash_map.h"
#include "zandrel/foundation/qtBuffer.h"
#include "zandrel/foundation/qtString.h"

class zeClassifier;
class zeManager;
class zeStat_matcher;
class zeStat_storage;
class zeSwitcher;
struct zeNode;

// A one-way export: nothing reads a knowledge base back into a container. The container does not
// change. In cached form its classifiers are fetched one at a time.
//
//     zeDump5(&manager).Dump("shop.kb", false);
//
// The tree, the rules and the selected features are exported. Thresholds, attributes, notes,
// settings and the counts of training are not.
//
// Errors: qtX<zeDump5>, texts in docs/errors.md; qtX<zeWorkflow> 2 if the manager's progress object
// asks for an interruption; what fetching a classifier raises. No operation recurses over the tree.
// Threads: one at a time in the whole process, as zeStat_trainer.
class ZANDREL_EXPORT zeDump5 {
public:
    // BORROWS: `manager`, which must outlive this.
    explicit zeDump5(zeManager* manager);
    zeDump5(const zeDump5&) = delete;
    zeDump5& operator=(const zeDump5&) = delete;
    ~zeDump5();

    // Converts the container, and writes the knowledge base to a file or in place of the bytes of
    // a buffer. The name of the encoding is "Windows-1252"; texts are written unchanged.
    // `zero_scores`: the second argument of ConvertRule, for all rules.
    // RAISES: what ConvertToKB raises; qtxSegBuf "SegBuf is full" for a file of 4 GiB or more; the
    // file does not change then. qtX<HioErr> if it cannot be written; it may then be incomplete.
    void Dump(const qtString& path, bool zero_scores);
    void Dump(qtBuffer& buffer, bool zero_scores);

    // Replaces `m_group` by the knowledge base of the container. `m_zero_scores` decides about the
    // rules. A container without a root gives a root without name and children.
    // RAISES: 2 "Operation cannot be performed on compact KB"; what DumpClassifier raises. The
    // group is empty then.
    void ConvertToKB();

    // The steps of the above. Each adds the children of a classifier, and all below them, to a node
    // of `m_group`, and their profiles to its list. Children that were added before a failure
    // remain.
    // RAISES: as DumpSwitcher and DumpStatMatcher.
    void DumpClassifier(zeClassifier* classifier, HierarchicalMapingNode* target);
    // Adds the children by ascending id. The classifier of a child whose logical category is
    // "_Internal" adds its children to `target` itself; the child's rule is lost.
    // RAISES: 0 name + " Has a default category; conversion not possible" (argument: the name of
    // the switcher's node); what AddRule raises.
    void DumpSwitcher(zeSwitcher* switcher, HierarchicalMapingNode* target);
    // Selects the features of all categories, and adds a child with a profile for each category
    // that has a node. The model is as before when its profiles have been copied.
    // RAISES: 1 "Can't add child" (argument: the name of the child).
    void DumpStatMatcher(zeStat_matcher* matcher, HierarchicalMapingNode* target);
    // Adds a child with a converted rule, and returns it.
    // RAISES: 1 "Can't add child" (argument: the name of the child).
    static HierarchicalMapingNode* AddRule(const qtString& rule, zeNode* node,
                                           HierarchicalMapingNode* target);
    // Replaces a profile by a category of a model. The concepts are in the order of their texts.
    // REQUIRES: a valid index. Without a feature selection there are no concepts.
    static void convert_profile(zeStat_storage& storage, int iprofile, Profile& converted);

    // Returns the text with every occurrence of `from` replaced by `to`, left to right: "aaa" with
    // "aa" replaced by "b" is "ba". If `from` is empty, it returns the text.
    static qtString ConvertStr(const qtString& text, const qtString& from, const qtString& to);
    // Returns the rule with "stat_matching" in place of "parent_score". With `zero_scores`, "0" is
    // in place of both. It replaces the words wherever they are, also within other words and
    // between quotation marks.
    static qtString ConvertRule(const qtString& rule, bool zero_scores);

    HierarchicalProfilesGroup m_group;
    bool m_zero_scores = false;  // `Dump` sets it

private:
    // A node whose classifier is still to be converted. A child of a switcher is not added yet.
    struct Step {
        zeNode* node = nullptr;
        HierarchicalMapingNode* target = nullptr;  // to which the child or its children are added
        bool is_ruled = false;                     // the child of a switcher
        qtString rule;                             // converted
    };

    // The nodes that a conversion has still to visit, the next one last, and the nodes that it has
    // visited. A program can link nodes to a circle, in which a conversion would never end.
    struct Walk {
        std::vector<Step> left;
        hash_set<const zeNode*, zePointer_hash> visited;
    };

    void AddSwitcher(zeSwitcher& switcher, HierarchicalMapingNode* target, Walk& walk) const;
    void AddStatMatcher(zeStat_matcher& matcher, HierarchicalMapingNode* target, Walk& walk);
    void AddClassifier(zeClassifier& classifier, HierarchicalMapingNode* target, Walk& walk);
    void Visit(const Step& step, Walk& walk);
    void Finish(Walk& walk);
    bool IsInternal(zeNode* node) const;

    zeManager* m_manager;
};

#endif  // ZANDREL_EXPORT_ZEDUMP5_H_
