// Sharing under contention: threads copy and release one array, and take
// private instances of their shares to write to. What is shared must never
// change, every reference must be given back, and no object may be lost.
#include <atomic>
#include <barrier>
#include <thread>

#include "LumCore/ZVariant.hpp"
#include "StorageTestSupport.hpp"

// Live heap bytes, where a sanitizer's allocator can tell them.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes() __attribute__((weak));

namespace {

using namespace StorageTest;

constexpr int kThreads = 4;
constexpr int kRounds = 10000;

// Runs body(t) on kThreads threads and waits for them.
template <class Body>
void onThreads(Body&& body)
{
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&body, t] { body(t); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

// The change of live heap bytes since construction; 0 where that cannot be
// measured. The C library keeps some memory with each thread stack it caches
// for reuse, so threads are started once before the measurement begins.
class HeapBalance {
public:
    HeapBalance() : m_start((onThreads([](int) {}), liveBytes())) {}
    [[nodiscard]] long long change() const { return static_cast<long long>(liveBytes() - m_start); }

private:
    static std::size_t liveBytes()
    {
        return __sanitizer_get_current_allocated_bytes != nullptr ? __sanitizer_get_current_allocated_bytes() : 0;
    }
    std::size_t m_start;
};

// Writes `mark` over a private instance, counting elements that were not the
// original values before or not the mark after.
int writeAndCheck(IVariantData* mine, const std::vector<double>& values, double mark)
{
    int errors = 0;
    auto* writable = static_cast<double*>(mine->mutableStoredData());
    for (std::size_t i = 0; i < values.size(); ++i) {
        errors += writable[i] != values[i];
        writable[i] = mark;
    }
    for (std::size_t i = 0; i < values.size(); ++i) {
        errors += elementsOf<double>(*mine)[i] != mark;
    }
    return errors;
}

TEST(StorageConcurrency, SharedArrayIsNeverWrittenWhileThreadsShareAndWrite)
{
    const std::vector<double> values = iota(256);
    Owned original = makeArray(values, {16, 16});
    IVariantData* const shared = original.get();
    std::atomic<int> errors{0};
    std::atomic<int> ready{0};
    {
        HeapBalance heap;
        onThreads([&](int t) {
            // Start together, for as much contention as possible.
            ++ready;
            while (ready.load() < kThreads) {
                std::this_thread::yield();
            }
            for (int round = 0; round < kRounds; ++round) {
                shared->copy();
                for (int j = 0; j < 4; ++j) {
                    shared->copy();
                    shared->destruct();
                }
                const std::size_t probe = static_cast<std::size_t>(round) % values.size();
                errors += elementsOf<double>(*shared)[probe] != values[probe];
                // The test holds a reference too, so this is always a clone.
                IVariantData* mine = shared->mutableInstance();
                errors += mine == shared;
                errors += writeAndCheck(mine, values, -1.0 - t);
                mine->destruct();
            }
        });
        EXPECT_EQ(heap.change(), 0) << "a clone or a share was not given back";
    }
    EXPECT_EQ(errors.load(), 0);
    EXPECT_EQ(refCount(shared), 1u);
    EXPECT_EQ(valuesOf<double>(*shared), values);
}

// All holders of one array ask for a private instance at once: each gets
// the original content, alone, and the last one to decide may keep the
// original itself (or, if every one of them saw a share, it is freed by the
// one whose release reaches zero).
TEST(StorageConcurrency, LastHoldersRaceForPrivateInstances)
{
    const std::vector<double> values = iota(64);
    std::atomic<int> errors{0};
    std::atomic<int> round{0};
    IVariantData* current = nullptr;
    // One array per round, with one reference for each thread.
    const auto nextRound = [&]() noexcept {
        current = nullptr;
        if (round.fetch_add(1) < kRounds) {
            current = makeArray(values, {8, 8}).release();
            for (int t = 1; t < kThreads; ++t) {
                current->copy();
            }
        }
    };
    {
        HeapBalance heap;
        nextRound();
        {
            std::barrier sync(kThreads, nextRound);
            onThreads([&](int t) {
                while (IVariantData* share = current) {
                    IVariantData* mine = share->mutableInstance();
                    errors += writeAndCheck(mine, values, 1000.0 + t);
                    mine->destruct();
                    sync.arrive_and_wait();
                }
            });
        }
        EXPECT_EQ(heap.change(), 0) << "an array was not freed";
    }
    EXPECT_EQ(errors.load(), 0);
    EXPECT_EQ(round.load(), kRounds + 1);
}

// A scalar a ZVariant holds in its own buffer, as a frozen tree's value is
// read by many threads: each takes a share through the flat interface and
// writes to it. The share is a counted copy, so the threads neither race on
// the buffer nor change what the others read, and each share outlives the
// value it came from.
TEST(StorageConcurrency, SharesOfAnInPlaceScalarAreCountedCopies)
{
    std::vector<ZVariantAbi> kept(kThreads);
    {
        const ZVariant shared = 2.5;
        ASSERT_TRUE(shared.storage().isInPlace());
        onThreads([&](int t) {
            for (int i = 0; i < 100; ++i) {
                ErrorRecord e{};
                ZVariantAbi mine = ZVariantAbi::adoptFlatHandle(ZVariantData_C_API_copy(&e, shared.flatHandle()));
                *static_cast<double*>(mine.mutableStoredData()) = t;
                ZVariantAbi same = ZVariantAbi::adoptFlatHandle(ZVariantData_C_API_convertDataTo(
                    &e, shared.flatHandle(), ZWellKnownType_double, ZConversionMode_Cast));
                *static_cast<double*>(same.mutableStoredData()) = -t;
                kept[t] = mine;
            }
        });
        EXPECT_EQ(shared.as<double>(), 2.5);
    }
    for (int t = 0; t < kThreads; ++t) {
        EXPECT_EQ(kept[t].as<double>(), t);  // the ZVariant is gone; ASan sees any dangling share
    }
}

}  // namespace
