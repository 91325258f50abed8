// Labelled texts of a C program, in memory and from files.
#include "text/c/records.h"

#include <memory>

#include "text/c/arguments.h"
#include "text/c/calls.h"

using zandrel::c::example_of;
using zandrel::c::form_of;
using zandrel::c::guarded;
using zandrel::c::guarded_making;
using zandrel::c::need;

namespace {

zandrel_string shown(const std::string& text) {
    return {text.c_str(), text.size()};
}

}  // namespace

const zandrel_example* zandrel_records::next() {
    if (!m_records.next(m_example)) {
        return nullptr;
    }
    m_labels.clear();
    for (const std::string& label : m_example.labels) {
        m_labels.push_back(shown(label));
    }
    m_fields.clear();
    for (const zandrel::Field& field : m_example.fields) {
        m_fields.push_back({shown(field.name), shown(field.value), static_cast<int>(field.type)});
    }
    m_view = {m_labels.data(),
              m_labels.size(),
              {m_example.text.c_str(), m_example.text.size(), m_fields.data(), m_fields.size()}};
    return &m_view;
}

zandrel_code zandrel_examples_new(zandrel_examples** examples) {
    return guarded_making(examples, {"examples"},
                          [] { return std::make_unique<zandrel_examples>(); });
}

zandrel_code zandrel_examples_add(zandrel_examples* examples, const zandrel_example* example) {
    return guarded([&] {
        need(examples, {"examples"});
        need(example, {"example"});
        examples->values.push_back(example_of(*example, {"example"}));
    });
}

void zandrel_examples_free(zandrel_examples* examples) {
    const std::unique_ptr<zandrel_examples> owned(examples);
}

zandrel_code zandrel_records_open(const char* path, const zandrel_record_form* form,
                                  zandrel_records** records) {
    return guarded_making(records, {"records"}, [&] {
        need(path, {"path"});
        return std::make_unique<zandrel_records>(zandrel::Records::open(path, form_of(form)));
    });
}

zandrel_code zandrel_records_next(zandrel_records* records, const zandrel_example** record) {
    if (record != nullptr) {
        *record = nullptr;
    }
    return guarded([&] {
        need(record, {"record"});
        need(records, {"records"});
        *record = records->next();
    });
}

void zandrel_records_free(zandrel_records* records) {
    const std::unique_ptr<zandrel_records> owned(records);
}
