// Long random sequences of operations on a few strings that share blocks, against a model that
// shares nothing. Each step is also checked for what must hold of all strings at any time.

#include "support/ScriptedTest.h"
#include "support/StringBlock.h"

#include <algorithm>
#include <array>
#include <bit>
#include <random>
#include <string>

namespace {

using namespace vqtest;

constexpr std::size_t kStrings = 5;
constexpr int kSteps = 20000;

template <class T> class LightweightStringRandom : public ScriptedTest {
protected:
    using String = LightweightString<T>;
    using Model = std::basic_string<T>;
    using View = std::basic_string_view<T>;

    unsigned int below(unsigned int limit) {
        return std::uniform_int_distribution<unsigned int>(0, limit - 1)(random_);
    }

    /// Mostly letters, some zeros, some that are negative as a narrow character.
    T character() {
        static constexpr unsigned char kCharacters[] = {'a', 'b', 'z', 0, 0x80, 0xFF};
        return static_cast<T>(kCharacters[below(sizeof(kCharacters))]);
    }

    Model randomText() {
        Model text;
        for (unsigned int i = below(12); i > 0; --i) text.push_back(character());
        return text;
    }

    /// One random change of a random string and of its model. Long strings are cut short again.
    void step() {
        const std::size_t to = below(kStrings);
        String& text = texts_[to];
        Model& model = models_[to];
        if (model.size() > 200) return truncate(text, model, below(100));
        switch (below(12)) {
        case 0:
            return share(text, model, below(kStrings));
        case 1:
            return appendOther(text, model, below(kStrings));
        case 2:
            return appendOwn(text, model);
        case 3:
            return append(text, model, randomText());
        case 4:
            return appendCounted(text, model, randomText(), below(14));
        case 5:
            return pushBack(text, model, character());
        case 6:
            return assign(text, model, randomText());
        case 7:
            return assignOwn(text, model);
        case 8:
            return truncate(text, model, below(10));
        case 9:
            return resize(text, model, below(40));
        case 10:
            return replaceOne(text, model, character());
        default:
            return move(text, model, below(kStrings));
        }
    }

    void share(String& text, Model& model, std::size_t from) {
        text = texts_[from];
        model = Model(models_[from]);
    }

    void appendOther(String& text, Model& model, std::size_t from) {
        text += texts_[from];
        model += Model(models_[from]);
    }

    void appendOwn(String& text, Model& model) {
        const unsigned int start = below(text.length() + 1);
        text.append(View(text).substr(start));
        model += Model(model, start);
    }

    void append(String& text, Model& model, const Model& added) {
        text += added.c_str();
        model += added.c_str();
    }

    /// Stops at a zero, then pads with zeros.
    void appendCounted(String& text, Model& model, const Model& added, unsigned int count) {
        text.append(added.c_str(), count);
        Model expected(View(added.c_str()).substr(0, count));
        expected.resize(count);
        model += expected;
    }

    void pushBack(String& text, Model& model, T c) {
        text.push_back(c);
        if (c != T()) model.push_back(c);
    }

    void assign(String& text, Model& model, const Model& source) {
        text.assign(source.c_str());
        model = source.c_str();
    }

    void assignOwn(String& text, Model& model) {
        const unsigned int start = below(text.length() + 1);
        text.assign(text.c_str() + start);
        model = Model(model.c_str() + start);
    }

    void truncate(String& text, Model& model, unsigned int length) {
        text.truncate(length);
        model.resize(std::min<std::size_t>(length, model.size()));
    }

    void resize(String& text, Model& model, unsigned int length) {
        text.resizeFor(length);
        model.clear();
        for (unsigned int i = 0; i < length; ++i) model.push_back(text.data()[i] = character());
    }

    void replaceOne(String& text, Model& model, T c) {
        if (model.empty()) return;
        const unsigned int at = below(text.length());
        text.unshare()[at] = c;
        model[at] = c;
    }

    void move(String& text, Model& model, std::size_t from) {
        if (&text == &texts_[from]) return;
        text = std::move(texts_[from]);
        model = std::move(models_[from]);
        models_[from].clear();
    }

    void expectAllAsTheModel() {
        for (std::size_t i = 0; i < kStrings; ++i) {
            const String& text = texts_[i];
            ASSERT_EQ(View(text), View(models_[i])) << "string " << i;
            ASSERT_EQ(text.empty(), models_[i].empty());
            ASSERT_EQ(text.c_str()[text.length()], T());
            if (text.empty()) {
                ASSERT_EQ(text.useCount(), 0u);
                continue;
            }
            ASSERT_GT(text.capacity(), text.length());
            ASSERT_TRUE(std::has_single_bit(text.capacity()));
            const auto owners = std::count_if(texts_.begin(), texts_.end(), [&](const String& s) {
                return s.c_str() == text.c_str();
            });
            ASSERT_EQ(text.useCount(), static_cast<unsigned int>(owners));
        }
    }

    void expectOrderAsTheModel() {
        for (std::size_t i = 1; i < kStrings; ++i) {
            ASSERT_EQ(texts_[0] < texts_[i], models_[0] < models_[i]);
            ASSERT_EQ(texts_[0] == texts_[i], models_[0] == models_[i]);
        }
    }

    std::mt19937 random_{20240229};
    std::array<String, kStrings> texts_;
    std::array<Model, kStrings> models_;
};
using Widths = ::testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(LightweightStringRandom, Widths);

TYPED_TEST(LightweightStringRandom, SequencesGiveWhatTheModelGives) {
    for (int i = 0; i < kSteps; ++i) {
        SCOPED_TRACE(i);
        this->step();
        this->expectAllAsTheModel();
        this->expectOrderAsTheModel();
        if (this->HasFatalFailure()) return;
    }
}

} // namespace
