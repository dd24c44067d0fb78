/// Sequences of operations on a few strings that share blocks, against a model that shares nothing.
/// Random numbers drive it in the tests, an input's bytes in the fuzz target.
#pragma once

#include "Vq/LightweightString.h"

#include "VqTest/MallocAllocator.h"
#include "VqTest/ScriptedPlatform.h"
#include "support/StringBlock.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace vqtest {

/// `Choices` has `unsigned int below(unsigned int limit)`, limits up to 256.
template <class T, class Choices> class StringSequence {
public:
    explicit StringSequence(Choices& choices) : choices_(choices) {}

    /// One change of a string and of its model. Long strings are cut short again.
    void step() {
        const std::size_t to = choices_.below(kStrings);
        String& text = texts_[to];
        Model& model = models_[to];
        const Held before = held(text);
        if (model.size() > 200) {
            truncate(text, model, choices_.below(100));
        } else {
            const unsigned int kind = choices_.below(12);
            if (kind == 0) return share(text, model, choices_.below(kStrings));
            if (kind == 11) return move(text, model, choices_.below(kStrings));
            change(kind, text, model);
        }
        if (const char* broken = brokenBetween(before, held(text))) broken_ = broken;
    }

    /// What must hold of all strings at any time and does not; null when all is well.
    const char* brokenProperty() const {
        if (broken_) return broken_;
        long blocks = 0;
        for (std::size_t i = 0; i < kStrings; ++i) {
            if (const char* broken = brokenProperty(texts_[i], models_[i])) return broken;
            if ((texts_[0] < texts_[i]) != (models_[0] < models_[i]) ||
                (texts_[0] == texts_[i]) != (models_[0] == models_[i])) {
                return "strings compare as their texts";
            }
            if (isFirstOfItsSharers(i)) ++blocks;
        }
        const long live = platform().memory()->liveBlocks() - blocksBefore_;
        return live == blocks ? nullptr : "the live blocks are those of the strings";
    }

private:
    using String = LightweightString<T>;
    using Model = MallocBasicString<T>; // whose blocks are not the platform's
    using View = std::basic_string_view<T>;

    static constexpr unsigned int kStrings = 5;

    /// What a string holds, of which a change may depend.
    struct Held {
        const void* block;
        unsigned int length;
        unsigned int capacity;
        unsigned int owners;
    };

    static Held held(const String& text) {
        return {blockOf(text), text.length(), text.capacity(), text.useCount()};
    }

    void change(unsigned int kind, String& text, Model& model) {
        switch (kind) {
        case 1:
            return appendOther(text, model, choices_.below(kStrings));
        case 2:
            return appendOwn(text, model);
        case 3:
            return append(text, model, chosenText());
        case 4:
            return appendCounted(text, model, chosenText(), choices_.below(14));
        case 5:
            return pushBack(text, model, character());
        case 6:
            return assign(text, model, chosenText());
        case 7:
            return assignOwn(text, model);
        case 8:
            return truncate(text, model, choices_.below(10));
        case 9:
            return resize(text, model, choices_.below(40));
        default:
            return replaceOne(text, model, character());
        }
    }

    /// The rule of capacities. That a shared text is not written in place shows in its sharers.
    static const char* brokenBetween(const Held& before, const Held& after) {
        if (after.length == 0) return nullptr;
        if (after.block == before.block) {
            return after.capacity == before.capacity ? nullptr : "a block keeps its capacity";
        }
        if (before.owners == 1 && after.length < before.capacity) {
            return "the only owner with room changes in place";
        }
        return after.capacity == roundedCapacity(after.length) ? nullptr
                                                               : "new capacities are rounded";
    }

    bool isFirstOfItsSharers(std::size_t i) const {
        const void* const block = blockOf(texts_[i]);
        if (!block) return false;
        const auto first = std::find_if(texts_.begin(), texts_.end(), [&](const String& other) {
            return blockOf(other) == block;
        });
        return first == texts_.begin() + static_cast<std::ptrdiff_t>(i);
    }

    const char* brokenProperty(const String& text, const Model& model) const {
        if (View(text) != View(model)) return "the text is the model's";
        if (text.c_str()[text.length()] != T()) return "the text is terminated";
        if (text.empty() != model.empty()) return "an empty text is an empty string";
        if (text.empty()) return text.useCount() == 0 ? nullptr : "the empty string has no block";
        if (text.capacity() <= text.length()) return "the terminator has its slot";
        if (!std::has_single_bit(text.capacity())) return "capacities are powers of two";
        const auto owners = std::count_if(texts_.begin(), texts_.end(), [&](const String& other) {
            return other.c_str() == text.c_str();
        });
        return text.useCount() == owners ? nullptr : "the count is that of the owners";
    }

    /// Mostly letters, some zeros, some that are negative as a narrow character.
    T character() {
        static constexpr unsigned char kCharacters[] = {'a', 'b', 'z', 0, 0x80, 0xFF};
        return static_cast<T>(kCharacters[choices_.below(sizeof(kCharacters))]);
    }

    Model chosenText() {
        Model text;
        for (unsigned int i = choices_.below(12); i > 0; --i) text.push_back(character());
        return text;
    }

    /// A position in the text, its end included.
    unsigned int position(const String& text) {
        return choices_.below(std::min(text.length() + 1, 256u));
    }

    void share(String& text, Model& model, std::size_t from) {
        text = texts_[from];
        if (blockOf(text) != blockOf(texts_[from])) broken_ = "a copy shares the block";
        model = Model(models_[from]);
    }

    void appendOther(String& text, Model& model, std::size_t from) {
        text += texts_[from];
        model += Model(models_[from]);
    }

    void appendOwn(String& text, Model& model) {
        const unsigned int start = position(text);
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
        const unsigned int start = position(text);
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
        const unsigned int at = choices_.below(std::min(text.length(), 256u));
        text.unshare()[at] = c;
        model[at] = c;
    }

    void move(String& text, Model& model, std::size_t from) {
        if (&text == &texts_[from]) return;
        const void* const block = blockOf(texts_[from]);
        text = std::move(texts_[from]);
        if (blockOf(text) != block) broken_ = "a move takes the block along";
        model = std::move(models_[from]);
        models_[from].clear();
    }

    Choices& choices_;
    const long blocksBefore_ = platform().memory()->liveBlocks();
    const char* broken_ = nullptr;
    std::array<String, kStrings> texts_;
    std::array<Model, kStrings> models_;
};

} // namespace vqtest
