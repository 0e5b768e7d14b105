// Shared state under threads: the codec registry, used by several threads at
// once, and one frozen tree read, copied and dropped from several threads.
#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <string>
#include <thread>
#include <typeinfo>
#include <vector>

#include "LumCore/CustomTypeCodec.hpp"
#include "LumCore/FPropertyTree.hpp"

namespace {

using namespace Marlowen::Lum;

constexpr int kThreads = 4;

template <int N>
struct Tagged {
    int value = 0;
    friend bool operator==(const Tagged& a, const Tagged& b) { return a.value == b.value; }
};

template <int N>
CustomTypeCodec taggedCodec()
{
    return makeCustomTypeCodec<Tagged<N>>(
        ZString("Tagged" + std::to_string(N)),
        [](const Tagged<N>& t) {
            return PropertyMap{{"v", t.value}};
        },
        [](const PropertyMap& m) { return Tagged<N>{m.at("v").value().as<int>()}; });
}

template <class Body>
void onThreads(Body body)
{
    std::barrier start(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            start.arrive_and_wait();
            body(t);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(CustomTypeCodecConcurrency, ThreadsRegisterEncodeAndDecodeAtOnce)
{
    std::atomic<int> failures{0};
    onThreads([&](int t) {
        for (int round = 0; round < 200; ++round) {
            // Thread 0 and 1 keep registering and removing their own codec;
            // everyone encodes and decodes paths meanwhile.
            if (t == 0) {
                registerCustomTypeCodec(taggedCodec<0>());
                failures +=
                    decodeCustomType(encodeCustomType(ZVariant(Tagged<0>{round}))).as<Tagged<0>>().value != round;
                failures += !unregisterCustomTypeCodec(typeid(Tagged<0>));
            } else if (t == 1) {
                registerCustomTypeCodec(taggedCodec<1>());
                failures += !unregisterCustomTypeCodec(typeid(Tagged<1>));
            }
            const PropertyPath path{"thread", t, "round", round};
            failures += decodeCustomType(encodeCustomType(ZVariant(path))).as<PropertyPath>() != path;
        }
    });
    EXPECT_EQ(failures.load(), 0);
}

TEST(FPropertyTreeConcurrency, ThreadsReadCopyAndDropOneTree)
{
    PropertyList rows;
    for (int i = 0; i < 100; ++i) {
        const double values[] = {double(i), double(i + 1)};
        rows.push_back(PropertyMap{{"id", i}, {"values", ZVariant(values, 2)}});
    }
    auto tree = std::make_unique<FPropertyNode>(PropertyNode(PropertyMap{{"rows", std::move(rows)}}));
    std::vector<FPropertyNode> shares(kThreads, *tree);
    std::atomic<int> failures{0};
    onThreads([&](int t) {
        if (t == 0) {
            tree.reset();  // the first holder lets go while the others read
        }
        FPropertyNode mine = std::move(shares[t]);
        for (int round = 0; round < 50; ++round) {
            const FPropertyNode copy = mine;
            const FPropertyList list = copy.map().at("rows").list();
            for (int i = 0; i < 100; ++i) {
                const FPropertyMap row = list[i].map();
                failures += row.at("id").value().as<int>() != i;
                failures += row.at("values").value().elementAt<double>(1) != i + 1;
            }
        }
    });
    EXPECT_EQ(failures.load(), 0);
}

}  // namespace
