// Handles and strings that threads copy, assign, change, hand to one another and drop: every object
// goes once, no text changes under its reader, and no block is left.
#include "Vq/Ptr.h"
#include "Vq/String.h"
#include "stress/Stress.h"

#include <array>
#include <atomic>
#include <mutex>
#include <random>
#include <string>
#include <utility>

namespace {

using namespace vqtest;

constexpr int kThreads = 4;
constexpr long kSteps = 20000;

/// Places where threads leave what others take.
template <class Value, std::size_t kSize = 8> class Exchange {
public:
    /// Puts `value` into the place and takes what was there.
    Value swap(std::size_t place, Value value) {
        const std::scoped_lock hold(locks_[place]);
        std::swap(places_[place], value);
        return value;
    }

    Value copy(std::size_t place) {
        const std::scoped_lock hold(locks_[place]);
        return places_[place];
    }

    static constexpr std::size_t size() { return kSize; }

private:
    std::array<std::mutex, kSize> locks_;
    std::array<Value, kSize> places_;
};

std::atomic<long> made{0};
std::atomic<long> gone{0};

struct Tracked : iObject {
    explicit Tracked(long n) : number(n), check(~n) { made.fetch_add(1); }
    ~Tracked() override {
        number = check = 0;
        gone.fetch_add(1);
    }
    Tracked(const Tracked&) = delete;
    Tracked& operator=(const Tracked&) = delete;

    bool isWhole() const { return check == ~number; }

    long number;
    long check;
};

template <class Handle>
void exchangeHandles(unsigned int seed, Exchange<Handle>& exchange, std::atomic<long>& broken) {
    std::mt19937 random(seed);
    std::array<Handle, 4> own;
    for (long i = kSteps * stressFactor() / kThreads; i > 0; --i) {
        Handle& handle = own[random() % own.size()];
        const std::size_t place = random() % exchange.size();
        switch (random() % 6) {
        case 0:
            handle = Handle(new Tracked(i));
            break;
        case 1:
            handle = exchange.copy(place);
            break;
        case 2:
            handle = exchange.swap(place, handle);
            break;
        case 3:
            handle = exchange.swap(place, std::move(handle));
            break;
        case 4:
            handle = own[random() % own.size()];
            break;
        default:
            handle.reset();
        }
        if (handle && !handle->isWhole()) broken.fetch_add(1);
    }
}

template <class Handle> void stressHandles() {
    made = gone = 0;
    std::atomic<long> broken{0};
    {
        Exchange<Handle> exchange;
        onThreads(kThreads, [&](int thread) {
            exchangeHandles<Handle>(static_cast<unsigned int>(thread), exchange, broken);
        });
    }
    EXPECT_EQ(broken, 0);
    EXPECT_GT(made, 0);
    EXPECT_EQ(made, gone);
    report("objects", made);
}

TEST(SharingStress, InternallyCountedObjectsGoOnce) {
    stressHandles<Vq::Ptr<Tracked>>();
}

TEST(SharingStress, ExternallyCountedObjectsGoOnce) {
    stressHandles<Vq::Ptr<Tracked, Vq::DtorTraits, Vq::ExternalRefCountTraits>>();
}

/// Every text here is one character, repeated: a change that leaks into a sharer shows.
template <class T> bool isWhole(const LightweightString<T>& text) {
    for (const T c : text) {
        if (c != text[0]) return false;
    }
    return text.c_str()[text.length()] == T();
}

template <class T>
void exchangeStrings(unsigned int seed, Exchange<LightweightString<T>>& exchange,
                     std::atomic<long>& broken) {
    using String = LightweightString<T>;
    std::mt19937 random(seed);
    std::array<String, 4> own;
    for (long i = kSteps * stressFactor() / kThreads; i > 0; --i) {
        String& text = own[random() % own.size()];
        const std::size_t place = random() % exchange.size();
        switch (random() % 8) {
        case 0:
            text.assign(std::basic_string<T>(random() % 40, static_cast<T>('a' + i % 26)).c_str());
            break;
        case 1:
            text = exchange.copy(place);
            break;
        case 2:
            text = exchange.swap(place, text);
            break;
        case 3:
            text = exchange.swap(place, std::move(text));
            break;
        case 4:
            if (text.length() < 200) text += text;
            break;
        case 5:
            text.push_back(text[0]);
            break;
        case 6:
            text.truncate(text.length() / 2);
            break;
        default:
            text = own[random() % own.size()];
        }
        if (!isWhole(text)) broken.fetch_add(1);
    }
}

template <class T> class SharingStressOfStrings : public ::testing::Test {};
using Widths = ::testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(SharingStressOfStrings, Widths);

TYPED_TEST(SharingStressOfStrings, TextsChangeUnderNobody) {
    std::atomic<long> broken{0};
    Exchange<LightweightString<TypeParam>> exchange;
    onThreads(kThreads, [&](int thread) {
        exchangeStrings<TypeParam>(static_cast<unsigned int>(thread), exchange, broken);
    });
    EXPECT_EQ(broken, 0);
    for (std::size_t place = 0; place < exchange.size(); ++place) {
        EXPECT_TRUE(isWhole(exchange.copy(place)));
    }
}

} // namespace
