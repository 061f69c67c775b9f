#include "tests/support/Operations.h"

#include <gtest/gtest.h>

#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/parallel_for.h>
#include <oneapi/tbb/task_arena.h>
#include <oneapi/tbb/task_group.h>

#include <xmmintrin.h>

#include <atomic>
#include <thread>

namespace {

using trust::Inputs;
using trust::Outputs;

/// All outcomes of the table on one set of inputs, the operations taken in a circle from `first` on.
std::vector<trust::Bytes> outcomes(Inputs& in, std::size_t first = 0)
{
    const auto& operations = trust::operations();
    std::vector<trust::Bytes> all(operations.size());
    for (std::size_t i = 0; i < all.size(); ++i) {
        const std::size_t n = (first + i) % all.size();
        Outputs out;
        if (operations[n].call(in, out) == 0) all[n] = trust::bytesOf(out);
    }
    return all;
}

/// Calls test(inputs, outcomes of one thread) for every element type, simple and rich in turn.
template <class Test>
void forEachInputs(const Test& test)
{
    tbb::task_arena one(1);
    for (int dataType = 0; dataType < 7; ++dataType) {
        SCOPED_TRACE(testing::Message() << "data type " << dataType);
        Inputs in = trust::someInputs(131, 601, dataType, dataType % 2 == 1);
        const auto expected = one.execute([&] { return outcomes(in); });
        for (std::size_t i = 0; i < expected.size(); ++i)
            ASSERT_FALSE(expected[i].empty()) << trust::operations()[i].name;
        test(in, expected);
    }
}

TEST(Threads, AnyNumberGivesTheSameBits)
{
    const tbb::global_control many(tbb::global_control::max_allowed_parallelism, 16);
    forEachInputs([](Inputs& in, const auto& expected) {
        for (const int threads : {2, 16, 16}) {
            const auto found = tbb::task_arena(threads).execute([&] { return outcomes(in); });
            for (std::size_t i = 0; i < found.size(); ++i)
                EXPECT_TRUE(expected[i] == found[i]) << trust::operations()[i].name << " with " << threads;
        }
    });
}

TEST(Threads, EightCallersOnSharedPixels)
{
    forEachInputs([](Inputs& in, const auto& expected) {
        std::atomic<int> right{0};
        std::vector<std::thread> callers;
        for (std::size_t caller = 0; caller < 8; ++caller)
            callers.emplace_back(
                [&, caller, mine = in]() mutable { right += outcomes(mine, caller * 2) == expected ? 1 : 0; });
        for (std::thread& caller : callers) caller.join();
        EXPECT_EQ(8, right);
    });
}

TEST(Threads, CallersTasksReachNoResult)
{
    forEachInputs([](Inputs& in, const auto& expected) {
        std::atomic<int> right{0};
        tbb::parallel_for(std::size_t{0}, std::size_t{6}, [&](std::size_t i) {
            Inputs mine = in;
            right += outcomes(mine, i * 3) == expected ? 1 : 0;
        });
        EXPECT_EQ(6, right) << "inside a loop of the caller";
        tbb::task_group_context group;
        const auto cancelled = [&](int) {
            group.cancel_group_execution();
            EXPECT_TRUE(outcomes(in) == expected) << "inside a cancelled group";
        };
        tbb::parallel_for(0, 1, cancelled, group);
    });
}

TEST(Threads, ForeignFloatingPointModesReachNoResultAndAreRestored)
{
    const unsigned modes[] = {0x1F80 | _MM_ROUND_UP, 0x1F80 | _MM_ROUND_TOWARD_ZERO,
                              0x1F80 | _MM_FLUSH_ZERO_ON | 0x40,       // and denormal inputs as 0
                              0x1F80 & ~unsigned{_MM_MASK_DIV_ZERO}};  // a division by 0 traps
    const unsigned callers = _mm_getcsr();
    forEachInputs([&](Inputs& in, const auto& expected) {
        for (std::size_t i = 0; i < expected.size(); ++i) {
            for (const unsigned mode : modes) {
                Outputs out;
                _mm_setcsr(mode);
                trust::operations()[i].call(in, out);
                const unsigned after = _mm_getcsr();
                _mm_setcsr(callers);
                EXPECT_EQ(mode, after & ~unsigned{_MM_EXCEPT_MASK}) << trust::operations()[i].name;
                EXPECT_TRUE(expected[i] == trust::bytesOf(out)) << trust::operations()[i].name << ", mode " << mode;
            }
        }
    });
}

}  // namespace
