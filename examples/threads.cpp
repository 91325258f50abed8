// Answers several threads from two containers, learns, and saves what was learned.
#include <cstddef>
#include <filesystem>
#include <functional>
#include <iostream>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/messages/zeMemoryCorpus.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/messages/zeSml.h"
#include "zandrel/messages/zeSml_feeder.h"
#include "zandrel/persistence/KcIoMode.h"
#include "zandrel/persistence/Kc_seal.h"

namespace {

struct Labelled {
    std::string text;
    std::string category;
};

// One mutex for the whole process, not one for each container, because all containers share
// concepts.
std::mutex library_mutex;
using Library_lock = std::lock_guard<std::mutex>;

// A container that any thread may use. Texts and names are passed as strings; objects of the
// library are made, used and destroyed only under the lock.
class Container {
public:
    // A new container that knows these texts.
    explicit Container(const std::vector<Labelled>& texts) {
        const Library_lock lock(library_mutex);
        auto manager = std::make_unique<zeManager>();
        manager->m_defaults.use_likelihood_in_train = false;  // too few texts for tables
        manager->m_defaults.suppress_M = false;               // each word is in few texts
        Concept root = Concept::insert("root");
        const qtPtrLight<zeWorkflow> workflow = manager->InitWorkflow(root);
        zeMemoryCorpus corpus;
        zeCorpus_view view = view_of(texts, *manager, corpus);
        workflow->train(view, true, nullptr, false);
        m_manager = std::move(manager);
    }

    // The container of a file.
    explicit Container(const std::string& path) {
        const Library_lock lock(library_mutex);
        // If reading fails, the manager is destroyed before the lock is released.
        auto manager = std::make_unique<zeManager>();
        zandrel::Kc_seal::Verify(path);
        manager->Read(path, nullptr, nullptr);
        m_manager = std::move(manager);
    }

    Container(const Container&) = delete;
    Container& operator=(const Container&) = delete;

    // Destroying the container destroys concepts, so it needs the lock too.
    ~Container() {
        const Library_lock lock(library_mutex);
        m_manager.reset();
    }

    // The best category of the text; empty if there is none.
    std::string best(const std::string& text) {
        const Library_lock lock(library_mutex);
        const qtPtrLight<zeMsg> msg = make_message(text);
        zeResult_set results(0.0, 1);
        m_manager->GetWorkflow()->classify(*msg, results, true, false);
        return results.count() == 0 ? "" : results.get_result(0).node->m_concept.c_str();
    }

    // Changes the container in memory only.
    void learn(const std::vector<Labelled>& texts) {
        const Library_lock lock(library_mutex);
        zeMemoryCorpus corpus;
        zeCorpus_view view = view_of(texts, *m_manager, corpus);
        m_manager->GetWorkflow()->learn(view, nullptr, false, true);
    }

    // Writes to another file and renames it, so that others find either the whole old file or the
    // whole new one.
    void save(const std::string& path, bool compact) {
        const Library_lock lock(library_mutex);
        const std::string unfinished = path + ".new";
        KcIoMode mode;
        mode.compact = compact;
        m_manager->Write(unfinished, &mode, nullptr);
        zandrel::Kc_seal::Write(unfinished);
        std::filesystem::rename(unfinished, path);
    }

private:
    static qtPtrLight<zeMsg> make_message(const std::string& text) {
        zeSml_feeder feeder;
        std::istringstream words(text);
        for (std::string word; words >> word;) {
            feeder.add_concept(Concept::insert_view(word), 1.0);
        }
        qtPtrLight<zeMsg> msg(new zeMsg);
        msg->smls[0] = qtPtrLight<zeSml>(new zeSml(feeder, 0.0));
        return msg;
    }

    static zeCorpus_view view_of(const std::vector<Labelled>& texts, zeManager& manager,
                                 zeMemoryCorpus& corpus) {
        for (const Labelled& each : texts) {
            qtPtrLight<zeMsg> msg = make_message(each.text);
            msg->categories.push_back(Concept::insert(each.category));
            corpus.add_msg(msg);
        }
        zeCorpus_view view(&corpus);
        view.add_all_msgs(&manager);
        return view;
    }

    std::unique_ptr<zeManager> m_manager;
};

// Classifies with both containers many times. Returns the result if it is always the same, and
// "answers differ" otherwise.
std::string ask_often(Container& full, Container& compact, const std::string& text) {
    const std::string answer = full.best(text);
    for (int i = 0; i < 500; ++i) {
        if (full.best(text) != answer || compact.best(text) != answer) {
            return "answers differ";
        }
    }
    return answer;
}

void print_answers(Container& full, Container& compact) {
    const std::vector<std::string> texts = {"a goal in the match", "butter and salt", "bank loan",
                                            "the penalty"};
    std::vector<std::string> answers(texts.size());
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < texts.size(); ++i) {
        threads.emplace_back([&full, &compact, &text = texts[i], &answer = answers[i]] {
            answer = ask_often(full, compact, text);
        });
    }
    for (std::thread& each : threads) {
        each.join();
    }
    for (std::size_t i = 0; i < texts.size(); ++i) {
        std::cout << texts[i] << ": " << answers[i] << '\n';
    }
}

}  // namespace

int main() {
    try {
        Container full({{"a late goal in the final match", "sport"},
                        {"the team won the match", "sport"},
                        {"fry the onion in butter", "food"},
                        {"salt and pepper in the soup", "food"},
                        {"the bank raised the rate", "money"},
                        {"pay the loan back", "money"}});
        full.learn({{"a penalty in the last minute", "sport"}});
        full.save("threads.kc", false);
        full.save("threads-compact.kc", true);

        Container read("threads.kc");
        Container compact("threads-compact.kc");
        print_answers(read, compact);
        try {
            compact.learn({{"the coach praised the team", "sport"}});
        } catch (const qtX<zeWorkflow>& error) {
            std::cout << "compact: error " << error.number() << ", " << error.what() << '\n';
        }
    } catch (const std::exception& error) {
        std::cerr << "threads: " << error.what() << '\n';
        return 1;
    }
}
