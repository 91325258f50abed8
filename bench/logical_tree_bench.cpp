// Edits of the logical tree. An edit works on the categories of one or two classifiers, and never
// on the rest of the tree.
// - Adding a node asks the classifier above for the nodes with its name, which are few. The size
//   of the tree does not matter, not even if one classifier has all nodes.
// - Renaming a node and finding it by its path look up one name.
// - Moving a node within one statistical classifier changes only links.
// - Moving a node between classifiers, and deleting it, compile the table of the old classifier
//   anew, which is linear in its categories and concepts.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/statistics/zeStat_matcher.h"

namespace {

using Id = unsigned int;

constexpr std::size_t kCategoriesOfModel = 100;

// A container with a statistical root.
class Edited_tree {
public:
    Edited_tree() { Add(0, ZE_STAT, "root"); }

    Id Add(Id parent, unsigned char type, const std::string& category) {
        zeLogicalNode node;
        node.parent = parent;
        node.type = type;
        node.category = Concept::insert_view(category);
        return tree.AddLogicalNode(node);
    }

    // Adds statistical nodes of a hundred categories each until there are at least `count` nodes.
    void FillWithModels(std::size_t count) {
        while (tree.nodes.size() < count) {
            models.push_back(Add(1, ZE_STAT, "model " + std::to_string(models.size())));
            for (std::size_t i = 0; i < kCategoriesOfModel; ++i) {
                leaves.push_back(Add(models.back(), ZE_LEAF, "category " + std::to_string(i)));
            }
        }
    }

    // Gives the root `count` categories.
    void FillFlat(std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            leaves.push_back(Add(1, ZE_LEAF, "category " + std::to_string(i)));
        }
    }

    zeManager manager;
    zeLogicalTree& tree = *manager.m_logical_tree;
    std::vector<Id> models;
    std::vector<Id> leaves;
};

std::size_t node_count(const benchmark::State& state) {
    return static_cast<std::size_t>(state.range(0));
}

// Adds a category that is taken out again outside of the measured time.
void add_and_take_out(benchmark::State& state, Edited_tree& edited, Id parent) {
    zeLogicalTree& tree = edited.tree;
    auto& matcher = dynamic_cast<zeStat_matcher&>(*tree.GetRealParent(parent));
    for (auto _ : state) {
        const Id id = edited.Add(parent, ZE_LEAF, "new category");
        state.PauseTiming();
        zeNode* physical = tree.GetNode(id).physical_node;
        matcher.delete_cat(physical, false, true);
        tree.KCE_Delete(physical);
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_AddLeafToSmallClassifier(benchmark::State& state) {
    Edited_tree edited;
    edited.FillWithModels(node_count(state));
    add_and_take_out(state, edited, edited.models.front());
}

void BM_AddLeafToFlatTree(benchmark::State& state) {
    Edited_tree edited;
    edited.FillFlat(node_count(state));
    add_and_take_out(state, edited, 1);
}

void BM_BuildTree(benchmark::State& state) {
    for (auto _ : state) {
        auto edited = std::make_unique<Edited_tree>();
        edited->FillWithModels(node_count(state));
        benchmark::DoNotOptimize(edited->tree.next_id);
        state.PauseTiming();
        edited.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_BuildFlatTree(benchmark::State& state) {
    for (auto _ : state) {
        auto edited = std::make_unique<Edited_tree>();
        edited->FillFlat(node_count(state));
        benchmark::DoNotOptimize(edited->tree.next_id);
        state.PauseTiming();
        edited.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_RenameLeafOfFlatTree(benchmark::State& state) {
    Edited_tree edited;
    edited.FillFlat(node_count(state));
    bool is_new = false;
    for (auto _ : state) {
        is_new = !is_new;
        zeLogicalNode node = edited.tree.GetNode(edited.leaves.front());
        node.category = Concept::insert_view(is_new ? "new name" : "category 0");
        edited.tree.ChangeLogicalNode(node);
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_FindLeafOfFlatTreeByPath(benchmark::State& state) {
    Edited_tree edited;
    edited.FillFlat(node_count(state));
    const qtString path("root/category " + std::to_string(node_count(state) - 1));
    edited.tree.FindNodeByPath(path);  // makes the index, which the edits then keep
    for (auto _ : state) {
        benchmark::DoNotOptimize(edited.tree.FindNodeByPath(path).id);
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_DeleteLeafOfFlatTree(benchmark::State& state) {
    Edited_tree edited;
    edited.FillFlat(node_count(state));
    for (auto _ : state) {
        edited.tree.DelLogicalNode(edited.leaves.back(), true);
        state.PauseTiming();
        edited.leaves.back() = edited.Add(1, ZE_LEAF, "another category");
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations());
}

// Moves a node there and back in each iteration, so an iteration has two moves.
void move_to_and_fro(benchmark::State& state, zeLogicalTree& tree, Id id, Id here, Id there) {
    for (auto _ : state) {
        tree.MoveLogicalNode(id, there);
        tree.MoveLogicalNode(id, here);
    }
    state.SetItemsProcessed(2 * state.iterations());
}

void BM_MoveLeafBetweenSmallClassifiers(benchmark::State& state) {
    Edited_tree edited;
    edited.FillWithModels(node_count(state));
    const Id moved = edited.Add(edited.models.front(), ZE_LEAF, "moved");
    move_to_and_fro(state, edited.tree, moved, edited.models.front(), edited.models.back());
}

void BM_MoveClassifierWithItsCategories(benchmark::State& state) {
    Edited_tree edited;
    edited.FillWithModels(node_count(state));
    const Id here = edited.Add(1, ZE_STAT, "here");
    const Id there = edited.Add(1, ZE_STAT, "there");
    edited.Add(here, ZE_LEAF, "stays here");
    edited.Add(there, ZE_LEAF, "stays there");
    edited.tree.MoveLogicalNode(edited.models.front(), here);
    move_to_and_fro(state, edited.tree, edited.models.front(), here, there);
}

void BM_MoveLeafOutOfFlatTree(benchmark::State& state) {
    Edited_tree edited;
    edited.FillFlat(node_count(state));
    const Id there = edited.Add(1, ZE_STAT, "there");
    edited.Add(there, ZE_LEAF, "stays there");
    move_to_and_fro(state, edited.tree, edited.leaves.front(), 1, there);
}

void BM_MoveLinksInFlatTree(benchmark::State& state) {
    Edited_tree edited;
    edited.FillFlat(node_count(state));
    const Id here = edited.leaves[0];
    const Id there = edited.leaves[1];
    edited.tree.MoveLogicalNode(edited.leaves[2], here);
    move_to_and_fro(state, edited.tree, edited.leaves[2], here, there);
}

BENCHMARK(BM_AddLeafToSmallClassifier)->Arg(1000)->Arg(100000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_AddLeafToFlatTree)
    ->Arg(1000)
    ->Arg(100000)
    ->Iterations(1000)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_BuildTree)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BuildFlatTree)->Arg(10000)->Arg(40000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RenameLeafOfFlatTree)->Arg(1000)->Arg(100000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_FindLeafOfFlatTreeByPath)->Arg(1000)->Arg(100000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_DeleteLeafOfFlatTree)->Arg(4000)->Arg(16000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_MoveLeafBetweenSmallClassifiers)
    ->Arg(1000)
    ->Arg(100000)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_MoveClassifierWithItsCategories)
    ->Arg(1000)
    ->Arg(100000)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_MoveLeafOutOfFlatTree)->Arg(1000)->Arg(16000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_MoveLinksInFlatTree)->Arg(1000)->Arg(100000)->Unit(benchmark::kMicrosecond);

}  // namespace
