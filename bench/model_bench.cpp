// A walk over a tree of 10,000 nodes, as every search for a device does it, beside a plain recursion over
// vectors of the same shape. The walk must stay below a millisecond.

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <vector>

#include "bench/figures.h"
#include "model/tree/CompositeIterator.h"
#include "model/tree/Devices.h"
#include "model/tree/Leaf.h"

namespace
{

constexpr int STATIONS = 100;
constexpr int CHANNELS = 98;  // of each; with the station and its CDevices 10,000 nodes in all
constexpr int RUNS = 201;

std::unique_ptr<CFolder> MakeTree()
{
    auto root = std::make_unique<CFolder>();
    for (int i = 0; i < STATIONS; ++i) {
        auto* const station = new CFolder;
        root->Add(station, nullptr);
        auto* const devices = new CDevices;
        station->Add(devices, nullptr);
        for (int j = 0; j < CHANNELS; ++j)
            devices->Add(new CLeaf, nullptr);
    }
    return root;
}

int WalkTree(CFolder& root)
{
    int visible = 0;
    int count = 0;
    CCompositeIterator walk(root.CreateIterator());
    while (walk.HasNext()) {
        visible += walk.CurrentItem()->m_bVisible;
        ++count;
        walk.Next();
    }
    benchmark::DoNotOptimize(visible);
    return count;
}

// The peer: the same nodes without classes, iterators and run-time types.
struct PlainNode {
    bool visible = false;
    std::vector<std::unique_ptr<PlainNode>> children;
};

std::unique_ptr<PlainNode> CopyTree(CFolder& folder)
{
    auto plain = std::make_unique<PlainNode>();
    for (const auto walk = folder.CreateIterator(); walk->HasNext(); walk->Next()) {
        auto* const inner = dynamic_cast<CFolder*>(walk->CurrentItem());
        plain->children.push_back(inner ? CopyTree(*inner) : std::make_unique<PlainNode>());
    }
    return plain;
}

int WalkPlain(const PlainNode& plain, int& visible)
{
    int count = 0;
    for (const auto& child : plain.children) {
        visible += child->visible;
        count += 1 + WalkPlain(*child, visible);
    }
    return count;
}

template <class Walk>
double Microseconds(Walk walk)
{
    const auto begin = std::chrono::steady_clock::now();
    benchmark::DoNotOptimize(walk());
    return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - begin).count();
}

}  // namespace

int main()
{
    const auto root = MakeTree();
    const auto plain = CopyTree(*root);
    int visible = 0;
    const auto walkPlain = [&] { return WalkPlain(*plain, visible); };
    std::vector<double> tree;
    std::vector<double> peer;
    for (int run = 0; run < RUNS; ++run) {  // in turns, so that both meet the same machine
        tree.push_back(Microseconds([&] { return WalkTree(*root); }));
        peer.push_back(Microseconds(walkPlain));
    }
    benchmark::DoNotOptimize(visible);
    std::printf("walk over %d nodes: %.1f us; plain recursion: %.1f us; ratio %.1f (medians of %d)\n",
                WalkTree(*root), Median(tree), Median(peer), Median(tree) / Median(peer), RUNS);
}
