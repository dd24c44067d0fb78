// One object in each state that the pretty printers tell apart. The debugger stops in `stopHere`,
// goes up to `main` and prints them; states.gdb is what it is told, states.txt what it has to show.
#include "Vq/Vq.h"

#include <atomic>
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace Reel {

struct Frame : iObject {
    int width = 1920;
};

struct Still : virtual Frame {
    int seconds = 5;
};

struct Point {
    int x = 3;
    int y = 4;
};

struct OwnCounting : Vq::ExternalRefCountTraits {};

} // namespace Reel

using Text = LightweightString<char>;
using WideText = LightweightString<wchar_t>;
using Vq::AttribValuePair;
using PointPtr = Vq::Ptr<Reel::Point, Vq::DtorTraits, Vq::ExternalRefCountTraits>;

namespace {

// An object whose bytes are set at will and which nobody destroys.
template <class T> union Damaged {
    explicit Damaged(unsigned char everyByte) { std::memset(bytes, everyByte, sizeof bytes); }
    // From words, lowest address first; the rest is zero.
    Damaged(std::initializer_list<const void*> words) : Damaged(static_cast<unsigned char>(0)) {
        std::memcpy(bytes, words.begin(), words.size() * sizeof(void*));
    }
    ~Damaged() {}

    unsigned char bytes[sizeof(T)];
    T value;
};

// What a string or a handle points at, with contents of the test's choice.
template <class T> Damaged<T> around(const void* object) {
    return Damaged<T>{object, object};
}

Text::Impl block(char* characters, unsigned int length, unsigned int capacity, int count) {
    return {characters, length, capacity, count};
}

VqIniFile settingsOfTwoSections() {
    VqIniFile settings(WideText(L"clips.ini"), false, false);
    settings["Video"].push_back(AttribValuePair("Height", "1080", '='));
    settings["Video"].push_back(AttribValuePair("Width", "1920", '='));
    settings["Audio"].push_back(AttribValuePair("Rate", "48000", '='));
    return settings;
}

// Points the first node of the sections, on which the second hangs, at nothing.
void loseTheSecondSection(VqIniFile& settings) {
    struct Layout {
        WideText path;
        bool caseSensitive;
        VqIniFile::SectionMap sections;
    };
    static_assert(sizeof(Layout) == sizeof(VqIniFile));
    auto& sections = reinterpret_cast<Layout&>(settings).sections;
    auto* node = reinterpret_cast<std::_Rb_tree_node_base*>(&*sections.begin()) - 1;
    node->_M_right = reinterpret_cast<std::_Rb_tree_node_base*>(16);
}

__attribute__((noinline)) void stopHere() {
    asm volatile("");
}

template <class... T> void keep(const T&... objects) {
    (..., [](const void* object) { asm volatile("" : : "r"(object) : "memory"); }(&objects));
}

} // namespace

int main() {
    // Strings
    Text empty;
    Text sole = "Harbour";
    Text shared = "Take 2";
    Text otherSharer = shared;
    Text& reference = shared;
    Text* pointer = &shared;
    Text quotes = "say \"cut\"\n";
    Text zeros(std::string_view("a\0b\0", 4));
    Text beyondAscii = "d\u2019\u00e9t\u00e9";
    Text longText(std::string(150, 'x').append(std::string(150, 'y')).c_str());
    Text letters = "abcdefghijklmnopqrstuvwxyz";
    Text hugeText = Text::withLength(70000);
    std::memset(hugeText.data(), 'z', hugeText.length());
    WideText wideEmpty;
    WideText wide = L"d\u2019\u00e9t\u00e9";
    WideText wideSharer = wide;
    WideText wideZeros(std::wstring_view(L"a\0b\0", 4));
    std::vector<Text> row(2, Text("row"));

    // Strings that are none
    Damaged<Text> unset(0xAA);
    Damaged<Text> nowhere{reinterpret_cast<void*>(16), reinterpret_cast<void*>(16)};
    char few[] = "few";
    Text::Impl tooLong = block(few, 4000000000u, 8, 1);
    Text::Impl noOwner = block(few, 3, 4, 0);
    Text::Impl noCharacters = block(reinterpret_cast<char*>(16), 3, 4, 1);
    Damaged<Text> lengthBeyondCapacity = around<Text>(&tooLong);
    Damaged<Text> freed = around<Text>(&noOwner);
    Damaged<Text> charactersNowhere = around<Text>(&noCharacters);

    // Handles
    Vq::Ptr<Reel::Frame> noFrame;
    Vq::Ptr<Reel::Frame> frame = new Reel::Frame;
    Vq::Ptr<Reel::Still> still = new Reel::Still;
    Vq::Ptr<Reel::Frame> stillAsFrame = still;
    const Vq::Ptr<Reel::Frame>& constant = stillAsFrame;
    PointPtr noPoint;
    PointPtr point = new Reel::Point;
    PointPtr samePoint = point;
    Vq::Ptr<Reel::Point, Vq::DtorTraits, Reel::OwnCounting> ownPoint = new Reel::Point;
    Vq::Ptr<iCriticalSection> platformLock = OS()->sync()->createCriticalSection(0);
    Damaged<Vq::Ptr<Reel::Frame>> unsetHandle(0xAA);
    Damaged<Vq::Ptr<Reel::Frame>> handleNowhere{few, reinterpret_cast<void*>(16)};
    Damaged<PointPtr> counterNowhere{reinterpret_cast<void*>(16), few};

    // Identifiers
    Vq::UUID invalid;
    Vq::UUID id("00112233-4455-6677-8899-AABBCCDDEEFF");

    // Pairs and lists
    AttribValuePair noPair;
    AttribValuePair pair(Text("rate=25=1"), '=');
    AttribValuePair colon("rate", "25", ':');
    AttribValuePair control("rate", "25", '\t');
    AttribValuePair together("rate", "25", '\0');
    AttribValuePair noValue(Text("rate="), '=');
    AttribValuePair notSplittable(Text("a comment"), '=');
    AttribValuePair unsplit = AttribValuePair::fromText("rate=25");
    AttribValuePair parts = AttribValuePair::fromParts("rate", "25");
    Damaged<AttribValuePair> unsetPair(0xAA);
    Damaged<AttribValuePair> pairOfNowhere{nullptr, reinterpret_cast<void*>(16),
                                           reinterpret_cast<void*>(16)};
    LightweightVector<AttribValuePair> emptyList;
    LightweightVector<AttribValuePair> list = AttribValuePair::vecFromString("a=1,b=2", '=', ',');
    LightweightVector<AttribValuePair> sameList = list;
    LightweightVector<int> numbers(std::vector<int>{3, 4, 5});
    LightweightVector<bool> flags(std::vector<bool>{true, false});
    Damaged<LightweightVector<int>> unsetList(0xAA);
    Damaged<std::vector<int>> unsetVector(0xAA);
    Damaged<LightweightVector<int>> listOfNowhere{nullptr, nullptr, &unsetVector, &unsetVector};

    // Settings
    VqIniFile noSettings(true);
    VqIniFile settings = settingsOfTwoSections();
    VqIniFile manySections(true);
    for (int i = 100; i < 140; ++i) manySections[StringFromInteger(i)];
    VqIniFile longSection(true);
    for (int i = 0; i < 2000; ++i) {
        longSection["L"].push_back(AttribValuePair(StringFromInteger(i), "v", '='));
    }
    Damaged<VqIniFile> unsetSettings(0xAA);
    Damaged<VqIniFile> zeroSettings(0);
    Damaged<VqIniFile> cutSettings(0);
    Damaged<VqIniFile> oddSettings(0);
    ::new (&oddSettings.value) VqIniFile(settingsOfTwoSections());
    // The end of the room of this vector, which is before its beginning then.
    reinterpret_cast<void**>(&oddSettings.value["Audio"])[2] = nullptr;
    loseTheSecondSection(*::new (&cutSettings.value) VqIniFile(settingsOfTwoSections()));

    // Locks
    CriticalSection freeLock;
    CriticalSection named("Reels");
    CriticalSection deep("Reels");
    CriticalSection sameDeep = deep;
    deep.enter();
    deep.enter();
    CriticalSection others;
    CriticalSection::Rep rep(0);
    Damaged<CriticalSection> unsetLock(0xAA);
    Damaged<CriticalSection> noLock(0);
    const CriticalSection::Rep* repPointer = &rep;

    // Gates
    using Vq::LockFree::RWLock;
    RWLock freeGate;
    RWLock oneReader(1, 0);
    RWLock threeReaders(3, 0);
    RWLock oneWriter(0, 1);
    RWLock leftTooOften(-1, 0);
    RWLock senseless(7, -2);

    std::atomic<bool> held = false;
    std::atomic<bool> done = false;
    std::thread holder([&] {
        others.enter();
        held = true;
        held.notify_one();
        done.wait(false);
        others.leave();
    });
    held.wait(false);

    stopHere();

    keep(invalid, otherSharer, reference, pointer, wideSharer, sameList, sameDeep, repPointer,
         constant);
    done = true;
    done.notify_one();
    holder.join();
    deep.leave();
    deep.leave();
}
