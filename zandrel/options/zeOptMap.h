// zeOptMap: options with names and text values, stored in a file that people can edit.
#ifndef ZANDREL_OPTIONS_ZEOPTMAP_H_
#define ZANDREL_OPTIONS_ZEOPTMAP_H_

#include <map>
#include <optional>
#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/statistics/Setting.h"

class zeManager;
struct zeDefaults;

// A map from option names to texts. It copies the settings of a knowledge container to a file and
// back. The map that was loaded last also has the test switches of the trainers, "PositiveMethod"
// and "GeomAverage".
//
// The file has one option in each line, for example "ClipValue = 2.5 # less". White space at both
// ends of a line is ignored. The key ends at the first blank, tab, carriage return or equals sign.
// The value begins behind all of these, and ends at "#", a tab or a carriage return. Both ends of
// the value are trimmed. Empty lines and lines that begin with "#" are skipped. If a key occurs
// twice, the later line counts.
//
// Errors: qtX<zeOptMap>, see each operation.
class ZANDREL_EXPORT zeOptMap {
public:
    // The form in which a setting of the container is written as text.
    using Kind = zandrel::Setting_kind;

    // A key that GetKcDefaults and SetKcDefaults know.
    struct Known_key {
        const char* key;
        Kind kind;
        // The integers that have a meaning. SetKcDefaults accepts all others too.
        zandrel::Setting_range range;
        // False if the file of a container does not have the setting.
        bool is_stored = true;
    };

    zeOptMap() = default;
    zeOptMap(const zeOptMap&) = default;
    zeOptMap& operator=(const zeOptMap&) = default;
    // If this is the map of the trainers' switches, there is no such map afterwards.
    ~zeOptMap();

    // Adds the entries of a file, and makes this the map of the trainers' switches until another
    // map is loaded or this one is destroyed.
    // RAISES: 0 "Can't read options file: " and the path (argument: the path). Nothing is changed
    // then.
    void Load(const qtString& path);
    // Writes all entries in the order of their keys. Comments of a file that was loaded are lost.
    // RAISES: 3 "Can't write options file: " and the path (argument: the path).
    void Dump(const qtString& path) const;

    // The option in a line of the file.
    struct Line {
        qtString key;
        qtString value;
    };

    // Reads a line of the file. Returns nothing for an empty line and for a comment.
    static std::optional<Line> read_line(const qtString& line);

    // Adds an entry or replaces its value. A number gets its shortest text that converts back to
    // the same number. A bool is "1" or "0".
    void Add(const qtString& key, unsigned int value);
    void Add(const qtString& key, int value);
    void Add(const qtString& key, bool value);
    void Add(const qtString& key, const char* value);
    void Add(const qtString& key, const qtString& value);
    void Add(const qtString& key, double value);

    // Returns the value of an entry.
    // RAISES: 1 "Missing Option: " and the key (argument: the key).
    qtString Get(const qtString& key) const;
    // Returns the decimal integer at the start of an entry's value, 0 if there is none.
    // RAISES: as Get.
    int GetI(const qtString& key) const;

    // Returns the value of an entry, as a text or as the number at the start of the text. For an
    // entry that is missing, empty or "leave" it returns `default_value`. If `found` is not null,
    // it is set to true for a value of the entry and to false for `default_value`. VALID UNTIL, for
    // texts: the entry changes, or `default_value` is destroyed.
    const qtString& Optional(const qtString& key, const qtString& default_value, bool* found) const;
    const char* Optional(const qtString& key, const char* default_value, bool* found) const;
    double Optional(const qtString& key, const double& default_value, bool* found) const;
    int Optional(const qtString& key, int default_value, bool* found) const;
    unsigned int Optional(const qtString& key, unsigned int default_value, bool* found) const;

    // Copies all settings of the container into the map. "UseExtParms" is not one of them, so add
    // this key before you pass the map to SetKcDefaults, which raises without it.
    void GetKcDefaults(qtPtrLight<zeManager>& manager);
    // Copies the map's settings into the container, unless "UseExtParms" is 0. With `propagate`,
    // also each statistical model of the container gets them.
    // RAISES: 1 without "UseExtParms"; 2 "Invalid Learn Speed Scale: " and the value (arguments:
    // "LearnSpeedScale", the value). In the second case the settings that are before this key in
    // the order of known_keys are already stored. With `propagate`, also what PropogateChange
    // raises; the container then has the new settings.
    // REQUIRES: finite numbers, and a resolution of at most 8947848. Others are stored, and Write
    // writes them, but Read then refuses the file.
    void SetKcDefaults(qtPtrLight<zeManager>& manager, bool propagate);
    // Copies `defaults` to each statistical model of the container. The models' matching tables do
    // not change before the next zeStat_matcher::feed. The spelling is part of the interface.
    // RAISES: what zePhysicalTree::get_classifier raises, and std::bad_alloc; the models before the
    // failing one, in the order of their node ids, then have the new settings.
    // REQUIRES: finite numbers, as SetKcDefaults does.
    void PropogateChange(qtPtrLight<zeManager>& manager, zeDefaults& defaults);

    // Returns the keys of the container's settings, in the order in which they are read and
    // written.
    static std::vector<Known_key> known_keys();

    std::map<qtString, qtString> options;

private:
    const qtString* find_given(const qtString& key, bool* found) const;
};

// The map of the trainers' switches: the map that was loaded last, or null. zeOptMap::Load sets it.
// The first trainer and the first learner of the process read it.
extern ZANDREL_EXPORT zeOptMap* g_test_zandrel_opts;

#endif  // ZANDREL_OPTIONS_ZEOPTMAP_H_
