#include "tests/support/FaultyMemory.h"
#include "tests/support/Operations.h"
#include "tests/support/Replacements.h"

#include <gtest/gtest.h>

#include <opencv2/core.hpp>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <new>

namespace {

using trust::Bytes;
using trust::Inputs;
using trust::Operation;
using trust::Outputs;

constexpr long kThrew = -1;

bool isPromised(const Operation& operation, long code)
{
    const auto& codes = operation.exceptionCodes;
    return code == kThrew ? operation.mayThrow : std::find(codes.begin(), codes.end(), code) != codes.end();
}

long guarded(const Operation& operation, Inputs& in, Outputs& out)
{
    alarm(120);  // a hang ends the program
    long code = kThrew;
    try {
        code = operation.call(in, out);
    } catch (const std::exception&) {
    }
    alarm(0);
    return code;
}

/// Calls test(operation, inputs, bytes of the right outputs) for every operation and case.
template <class Test>
void forEachCase(std::initializer_list<int> dataTypes, int width, int height, const Test& test)
{
    for (const bool rich : {false, true}) {
        for (const int dataType : dataTypes) {
            Inputs in = trust::someInputs(width, height, dataType, rich);
            for (const Operation& operation : trust::operations()) {
                SCOPED_TRACE(testing::Message() << operation.name << ", data type " << dataType << ", rich " << rich);
                Outputs out = trust::someOutputs();
                ASSERT_EQ(0, operation.call(in, out));
                test(operation, in, trust::bytesOf(out));
            }
        }
    }
}

/// One call in which the k-th allocation fails. @return whether there was a k-th
bool survives(const Operation& operation, Inputs in, const Bytes& right, long k, bool allAfter)
{
    Outputs out = trust::someOutputs();
    const Bytes before = trust::bytesOf(out, false);
    faulty::arm(k, allAfter);
    const long code = guarded(operation, in, out);
    const bool fired = faulty::disarm() > 0;
    if (!fired || code == 0) {  // an allocation that nothing hangs on may fail unseen
        EXPECT_EQ(0, code);
        EXPECT_TRUE(right == trust::bytesOf(out));
        return fired;
    }
    EXPECT_TRUE(isPromised(operation, code)) << code;
    EXPECT_TRUE(!operation.keepsOutput || before == trust::bytesOf(out, false)) << "output changed";
    return true;
}

TEST(Fault, EveryAllocationMayFail)
{
    long injected = 0;
    forEachCase({0, 3, 5}, 37, 29, [&](const Operation& operation, Inputs& in, const Bytes& right) {
        for (const bool allAfter : {false, true}) {
            for (long k = 1;; ++k, ++injected) {
                SCOPED_TRACE(testing::Message() << "allocation " << k << (allAfter ? " and all after it" : ""));
                long live = 0;
                bool fired = true;
                int calls = 0;  // a leak grows with each; what a worker thread keeps of its first job does not
                do {
                    live = faulty::liveBlocks();
                    fired = survives(operation, in, right, k, allAfter);
                } while (fired && live != faulty::liveBlocks() && ++calls < 5);
                EXPECT_LT(calls, 5) << "leaked";
                if (!fired) break;
                Outputs next = trust::someOutputs();
                EXPECT_EQ(0, guarded(operation, in, next));
                EXPECT_TRUE(right == trust::bytesOf(next));
                if (testing::Test::HasFailure()) return;
            }
        }
    });
    EXPECT_GT(injected, 1000);
    std::printf("faults injected and survived: %ld\n", injected);
}

TEST(Fault, LoggerMayThrowAndMemoryBeGone)
{
    forEachCase({2, 5}, 37, 29, [](const Operation& operation, const Inputs& inputs, const Bytes& right) {
        for (const bool throws : {false, true}) {
            const replaced::LogScope log(throws);
            const replaced::MemoryScope memory(throws ? ~0ULL : 0ULL);  // most small jobs do not ask
            Inputs in = inputs;
            Outputs out = trust::someOutputs();
            const long code = guarded(operation, in, out);
            const bool promised = isPromised(operation, code) || (!throws && code == 30602016);
            EXPECT_TRUE(code == 0 ? right == trust::bytesOf(out) : promised) << code;
        }
    });
}

TEST(Fault, MemoryQueryDecidesToTheByte)
{
    Inputs in = trust::someInputs(3, 2, NoxDataType8U, false);
    in.dataType = NoxDataType32F;
    for (const Operation& operation : trust::operations()) {
        if (operation.bytesAsked == 0) continue;
        SCOPED_TRACE(operation.name);
        in.width = 8193, in.height = 8209 / operation.bytesAsked;  // a little more than is granted unasked
        in.range.SetSize(in.width, in.height, NoxDataType8U);
        in.range.Matrix().setTo(9);
        in.image.SetMatrix(in.range.Matrix());
        const auto bytes = in.range.Matrix().total() * static_cast<unsigned>(operation.bytesAsked);
        for (const unsigned long long available : {0UL, bytes - 1, bytes}) {
            const replaced::MemoryScope memory(available);
            Outputs out;
            const auto& codes = operation.exceptionCodes;
            EXPECT_EQ(available == bytes ? 0 : codes.empty() ? kThrew : codes[0], guarded(operation, in, out));
        }
    }
}

TEST(Fault, NoCellStaysUnwritten)
{
    const auto compare = [](const Operation& operation, Inputs& in, const Bytes& right) {
        for (const int byte : {0x11, 0xBE}) {
            faulty::fillWith(byte);
            Outputs out = trust::someOutputs();
            operation.call(in, out);
            faulty::fillWith(-1);
            EXPECT_TRUE(right == trust::bytesOf(out)) << "filled with " << byte;
        }
    };
    forEachCase({0, 1, 2, 3, 4, 5, 6}, 37, 29, compare);
    forEachCase({5}, 601, 500, compare);
}

}  // namespace
