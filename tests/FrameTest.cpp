// What belongs to no single operation.

#include <NoxPlatform.h>
#include <NoxResultCodes.h>

#include <gtest/gtest.h>

#include <dlfcn.h>

namespace {

/// That the codes and meanings are the right ones tells ReferenceTest.cpp.
TEST(Frame, EveryCodeHasItsTextAndOtherNumbersHaveNone)
{
#define NOX_EXPECT(name, number, meaning) EXPECT_STREQ(meaning, NOXEL::NoxResultText(number));
    NOX_RESULT_CODES(NOX_EXPECT)
#undef NOX_EXPECT
    for (long number : {1L, -1L, 30602006L, 30602011L})
        EXPECT_STREQ("unknown result code", NOXEL::NoxResultText(number));
}

TEST(Frame, ShippedMemoryQueryKnowsThisMachine)
{
    void* shipped = dlsym(RTLD_NEXT, "_ZN5NOXEL26NoxAvailablePhysicalMemoryEv");  // behind this program's own
    ASSERT_NE(nullptr, shipped);
    const unsigned long long bytes = reinterpret_cast<unsigned long long (*)()>(shipped)();
    EXPECT_GT(bytes, 1ULL << 20);
    EXPECT_LT(bytes, 1ULL << 50);
}

}  // namespace
