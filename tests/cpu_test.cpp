// Selection of kernel tables by instruction set.
#include "core/cpu.h"
#include "tests/support.h"

using namespace viq;

namespace {

constexpr int plain_table = 1;
constexpr int avx2_table = 2;

class KernelSets : public testing::Test {
protected:
    void TearDown() override { force_set(before); }
    const instruction_set before = current_set();
};

TEST_F(KernelSets, SelectTheTableOfTheCurrentSet) {
    const kernel_sets<int> sets = {&plain_table, &avx2_table};
    force_set(instruction_set::plain);
    EXPECT_EQ(current_kernels(sets), plain_table);
    for (const auto set : {instruction_set::avx2, instruction_set::avx512}) {
        if (!set_available(set))
            GTEST_SKIP();
        force_set(set);
        EXPECT_EQ(current_kernels(sets), avx2_table) << set_name(set);
    }
}

TEST_F(KernelSets, UseThePlainTableWhereTheFamilyHasNoOther) {
    const kernel_sets<int> sets = {&plain_table};
    for (unsigned set = 0; set < instruction_sets; ++set) {
        force_set(static_cast<instruction_set>(set));
        EXPECT_EQ(current_kernels(sets), plain_table);
    }
}

} // namespace
