// Long random sequences of operations on strings that share blocks.

#include "VqTest/ScriptedTest.h"
#include "support/StringSequence.h"

#include <random>

namespace {

using namespace vqtest;

constexpr int kSteps = 20000;

class RandomChoices {
public:
    unsigned int below(unsigned int limit) {
        return std::uniform_int_distribution<unsigned int>(0, limit - 1)(random_);
    }

private:
    std::mt19937 random_{20240229};
};

template <class T> class LightweightStringRandom : public ScriptedTest {};
using Widths = ::testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(LightweightStringRandom, Widths);

TYPED_TEST(LightweightStringRandom, SequencesGiveWhatTheModelGives) {
    RandomChoices choices;
    StringSequence<TypeParam, RandomChoices> sequence(choices);
    for (int i = 0; i < kSteps; ++i) {
        sequence.step();
        ASSERT_STREQ(sequence.brokenProperty(), nullptr) << "step " << i;
    }
}

} // namespace
