// The text form of zeLogicalTree as a file. Tree_text.cpp reads and writes its lines. The
// statistics of classifiers, thresholds and notes are not in this form.
#include "zandrel/knowledge/zeLogicalTree.h"

#include <cstddef>
#include <fstream>
#include <string_view>
#include <vector>

#include "zandrel/foundation/qtText.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/Tree_text.h"
#include "zandrel/knowledge/fixed_names.h"

namespace {

constexpr const char* kLineEnds = "\r\n";
constexpr char kOpen = '[';
constexpr char kClose = ']';

[[noreturn]] void refuse(int code, const qtString& text, const qtString& path) {
    throw qtX<zeLogicalTree>(code, text + path, {path});
}

}  // namespace

void zeLogicalTree::DumpText(const qtString& path) const {
    std::fstream out;
    // The C library would end the path at a zero byte and replace another file.
    if (path.view().find('\0') == std::string_view::npos) {
        out.open(path.str(), std::ios::out | std::ios::trunc | std::ios::binary);
    }
    if (!out.is_open()) {
        refuse(0, "Can't open file ", path);
    }
    RecursiveWriteText(out, zandrel::kRootId, 1);
    out.close();  // writes the last bytes
    if (out.fail()) {
        refuse(0, "Can't write file ", path);
    }
}

void zeLogicalTree::LoadText(const qtString& path) {
    qtString text;
    if (!qtStringRead(path, text)) {
        refuse(0, "Can't open file ", path);
    }
    // In a tree with nodes the next node must not get the id of the root again.
    if (nodes.empty()) {
        next_id = 0;
    }
    zandrel::Tree_text lines(*this);
    for (const qtString& line : qtTokenize(text, kLineEnds)) {
        lines.AddLine(line);
    }
}

void zeLogicalTree::RecursiveWriteText(std::basic_fstream<char>& out, unsigned int id,
                                       int level) const {
    zandrel::Tree_text::Write(*this, id, level, out);
}

qtString zeLogicalTree::PutString(const qtString& text) const {
    qtString field = text;
    for (std::size_t i = 0; i < field.size(); ++i) {
        if (zandrel::IsWhiteSpace(field[i])) {
            field[i] = ' ';
        }
    }
    qtString bracketed;
    bracketed += kOpen;
    bracketed += field;
    bracketed += kClose;
    return bracketed;
}

qtString zeLogicalTree::GetString(const qtString& field) const {
    const bool is_bracketed =
        field.size() >= 2 && field[0] == kOpen && field[field.size() - 1] == kClose;
    if (!is_bracketed) {
        throw qtX<zeLogicalTree>(1, field + " : invalid input string", {field});
    }
    return field.substr(1, field.size() - 2);
}
