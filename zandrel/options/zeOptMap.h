// zeOptMap: named options as texts, in a file that people edit.
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

// A map from option names to texts. It carries the statistical and archive settings of a knowledge
// container into and out of a file and, while it is the last map loaded, answers the test switches
// "PositiveMethod" and "GeomAverage" of the trainers.
//
// The file, one option a line: the key ends at the first blank or equals sign, the value begins
// behind the run of those and ends at "#" or a tab; both ends of a value are trimmed. Empty lines
// and lines that begin with "#" are skipped. A later line replaces an earlier one of the same key.
//
// Errors: qtX<zeOptMap>, see each operation.
class ZANDREL_EXPORT zeOptMap {
public:
    // How a setting of the container is read from its text.
    using Kind = zandrel::Setting_kind;

    // A key that GetKcDefaults and SetKcDefaults know.
    struct Known_key {
        const char* key;
        Kind kind;
        // The integers that have a meaning. SetKcDefaults takes all others as well.
        zandrel::Setting_range range;
    };

    zeOptMap() = default;
    zeOptMap(const zeOptMap&) = default;
    zeOptMap& operator=(const zeOptMap&) = default;
    // If the trainers' switches come from this map, they come from none from then on.
    ~zeOptMap();

    // Adds the entries of a file and makes this the map of the trainers' switches, which it must
    // then outlive or be destroyed after.
    // RAISES: 0 "Can't read options file: " and the path (argument: the path), changing nothing.
    void Load(const qtString& path);
    // Writes all entries in key order; comments do not survive.
    // RAISES: 3 "Can't write options file: " and the path (argument: the path).
    void Dump(const qtString& path) const;

    // What a line of the file says.
    struct Line {
        qtString key;
        qtString value;
    };

    // Reads a line of the file. Returns nothing for an empty line and for a comment.
    static std::optional<Line> read_line(const qtString& line);

    // Sets an entry. A number is written in the shortest form that reads back equal, a bool as "1"
    // or "0".
    void Add(const qtString& key, unsigned int value);
    void Add(const qtString& key, int value);
    void Add(const qtString& key, bool value);
    void Add(const qtString& key, const char* value);
    void Add(const qtString& key, const qtString& value);
    void Add(const qtString& key, double value);

    // The value of an entry.
    // RAISES: 1 "Missing Option: " and the key (argument: the key).
    qtString Get(const qtString& key) const;
    // Its leading decimal integer, 0 if there is none; raises as `Get` does.
    int GetI(const qtString& key) const;

    // The value of an entry, as a text or as the leading number of the text. An entry that is
    // missing, empty or the word "leave" gives `default_value`. `found`, which may be null, tells
    // which it was.
    // VALID UNTIL, for texts: the entry is changed, or `default_value` goes.
    const qtString& Optional(const qtString& key, const qtString& default_value, bool* found) const;
    const char* Optional(const qtString& key, const char* default_value, bool* found) const;
    double Optional(const qtString& key, const double& default_value, bool* found) const;
    int Optional(const qtString& key, int default_value, bool* found) const;
    unsigned int Optional(const qtString& key, unsigned int default_value, bool* found) const;

    // Copies all settings of the container into the map. "UseExtParms" is not among them, so a map
    // filled this way is refused by SetKcDefaults until that key has been added.
    void GetKcDefaults(qtPtrLight<zeManager>& manager);
    // Copies the map's settings into the container, unless "UseExtParms" is 0. With `propagate`,
    // every statistical model of the container takes them too.
    // RAISES: 1 without "UseExtParms"; 2 "Invalid Learn Speed Scale: " and the value (arguments:
    // "LearnSpeedScale", the value), with the keys before it stored already.
    void SetKcDefaults(qtPtrLight<zeManager>& manager, bool propagate);
    // Gives `defaults` to every statistical model of the container. Their matching tables stay as
    // they are until the next training.  The spelling is part of the interface.
    void PropogateChange(qtPtrLight<zeManager>& manager, zeDefaults& defaults);

    // The keys of the container's settings, in the order in which they are read and written.
    static std::vector<Known_key> known_keys();

    std::map<qtString, qtString> options;

private:
    const qtString* find_given(const qtString& key, bool* found) const;
};

// The map that answers the trainers' switches: the last one loaded, null at start. Set by
// zeOptMap::Load, read by the first trainer and the first learner of the process.
extern ZANDREL_EXPORT zeOptMap* g_test_zandrel_opts;

#endif  // ZANDREL_OPTIONS_ZEOPTMAP_H_
