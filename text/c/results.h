// The results of the C interface, with the memory that they show.
#ifndef ZANDREL_TEXT_C_RESULTS_H_
#define ZANDREL_TEXT_C_RESULTS_H_

#include <string>
#include <vector>

#include "zandrel/text/Text.h"
#include "zandrel/text/c.h"

namespace zandrel::c {

// A C program sees only the base. Freeing converts it back.
class Owned_labels : public zandrel_labels {
public:
    explicit Owned_labels(std::vector<Label>&& labels);
    Owned_labels(const Owned_labels&) = delete;
    Owned_labels& operator=(const Owned_labels&) = delete;

private:
    std::vector<Label> m_labels;
    std::vector<zandrel_label> m_views;
    std::vector<const zandrel_label*> m_items;
};

class Owned_reasons : public zandrel_reasons {
public:
    explicit Owned_reasons(Reasons&& reasons);
    Owned_reasons(const Owned_reasons&) = delete;
    Owned_reasons& operator=(const Owned_reasons&) = delete;

private:
    Reasons m_reasons;
    std::vector<zandrel_effect> m_views;
    std::vector<const zandrel_effect*> m_items;
};

class Owned_names : public zandrel_names {
public:
    explicit Owned_names(std::vector<std::string>&& names);
    Owned_names(const Owned_names&) = delete;
    Owned_names& operator=(const Owned_names&) = delete;

private:
    std::vector<std::string> m_names;
    std::vector<zandrel_string> m_items;
};

}  // namespace zandrel::c

#endif  // ZANDREL_TEXT_C_RESULTS_H_
