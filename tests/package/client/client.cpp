// A program of another project: each name of the interface is used once, family by family, from
// outside the libraries. What it shows is that the names are there, with the types that clients
// count on, and that they link; how they behave is for the unit tests.
#include "client.h"

#include "OS/LinuxPlatform.h"
#include "Vq/Allocation.h"
#include "Vq/AttribValuePair.h"
#include "Vq/LightweightString.h"
#include "Vq/LightweightVector.h"
#include "Vq/Platform.h"
#include "Vq/Ptr.h"
#include "Vq/RefCount.h"
#include "Vq/StdAllocator.h"
#include "Vq/String.h"
#include "Vq/StringSplit.h"
#include "Vq/System.h"
#include "Vq/VqCheck.h"
#include "Vq/VqIniFile.h"

#include <cstdio>
#include <map>
#include <memory>
#include <new>
#include <sstream>
#include <string_view>
#include <type_traits>
#include <unordered_set>
#include <vector>

namespace {

using NarrowFields = Vq::StringToVec<Narrow>::VecT;
using WideFields = Vq::StringToVec<Wide>::VecT;
using Pair = Vq::AttribValuePair;
using Pairs = LightweightVector<Pair>;

// --- Reference counts and handles

struct Frame : iObject {
    int width = 720;
};
struct Plain {
    int value = 1;
};

static_assert(std::is_base_of_v<Vq::InternalRefCount, iObject>);
static_assert(std::is_base_of_v<iObject, iFile> && std::is_base_of_v<iObject, iCriticalSection>);
static_assert(std::is_nothrow_move_constructible_v<Vq::Ptr<iFile>>);
static_assert(
    std::is_same_v<Vq::Ptr<iFile>, Vq::Ptr<iFile, Vq::DtorTraits, Vq::InternalRefCountTraits>>);

void handles() {
    Vq::Ptr<Frame> frame = new Frame, none(nullptr), copy(frame);
    Vq::Ptr<Frame> moved(std::move(copy));
    const Vq::Ptr<iObject> base = frame;
    EXPECT(frame && frame == moved && frame != none && none == nullptr && !none && !copy);
    EXPECT(base.get() == frame.get() && frame->width == 720 && (*frame).width == 720);
    EXPECT(frame.useCount() == 3 && frame->refCount() == 3);
    moved.incRef();
    moved.decRef();
    moved.reset();
    EXPECT(frame.useCount() == 2);
    const Vq::Ptr<Plain, Vq::DtorTraits, Vq::ExternalRefCountTraits> plain(new Plain);
    EXPECT(plain->value == 1 && plain.useCount() == 1);
}

// --- Memory

struct Cache : Reclaimable {
    unsigned long reclaimableBytes() override { return 0; }
    unsigned long reclaim(unsigned long /*bytesWanted*/) override { return 0; }
    const char* reclaimableName() override { return "cache"; }
};

void memory() {
    void* block = CPUAlignedNew(16);
    const auto* const words = static_cast<unsigned long*>(block);
    Vq::Memset(block, 0x01, 16);
    EXPECT(words[1] == 0x0101010101010101UL);
    Vq::Memset16(block, 0x0202, 8);
    EXPECT(words[1] == 0x0202020202020202UL);
    Vq::Memset32(block, 0x03030303U, 4);
    EXPECT(words[1] == 0x0303030303030303UL);
    Vq::Memset64(block, 0x0404040404040404UL, 2);
    EXPECT(words[1] == 0x0404040404040404UL);
    CPUAlignedDelete(block);

    const Cache cache;
    EXPECT(dynamic_cast<const iReclaimable*>(&cache) != nullptr);

    struct alignas(64) Wider {
        char bytes[64];
    };
    delete new Wider();
    delete[] new Wider[2]();
    delete new (std::nothrow) Wider();
    delete[] new (std::nothrow) int[2]();
    delete new (std::nothrow) int(0);
    delete[] new int[2]();
}

// --- The platform

void platform() {
    EXPECT(OS() == linuxPlatform() && OS()->cpu()->processorCount() > 0);
    setApplicationName("client");
    EXPECT(OS()->fileSystem()->applicationName() == Wide(L"client"));
    setFolder(4, "/var/lib/client/");
    EXPECT(OS()->folders()->getFolder(4) == Wide(L"/var/lib/client/"));
    EXPECT(OS()->fileSystem()->pathSeparator() == L'/');
    EXPECT(!OS()->fileSystem()->openFile(Wide(L"no such folder/file"), 1, 0, 1, 0));

    OS()->memory()->deallocate(OS()->memory()->allocate(1));
    int counter = 0;
    EXPECT(OS()->atomics()->atomicIncrement(&counter) == 1);
    EXPECT(OS()->atomics()->atomicDecrement(&counter) == 0);
    long word = 1;
    EXPECT(OS()->atomics()->compareAndSwap(&word, 2, 1) == 1 && word == 2);

    const Vq::Ptr<iCriticalSection> lock = OS()->sync()->createCriticalSection(0);
    lock->acquire();
    EXPECT(lock->tryAcquire() && OS()->sync()->currentThreadId() != 0);
    lock->release();
    lock->release();

    const UuidWords id = OS()->utils()->generateUUID(), other = OS()->utils()->generateUUID();
    EXPECT(id.first != other.first || id.second != other.second);
    EXPECT(OS()->utils()->narrowFromWide(L"n") == Narrow("n"));
    EXPECT(OS()->utils()->wideFromAscii("w") == Wide(L"w"));
    NarrowFields stack;
    OS()->utils()->getCallStack(&stack);
    EXPECT(!stack.empty());
}

// --- Strings

template <class S, class C>
concept CanAppend = requires(S string, C tail) {
    string += tail;
};

static_assert(sizeof(Narrow) == sizeof(Vq::Ptr<iFile>) && sizeof(Wide) == sizeof(Narrow));
static_assert(std::is_nothrow_move_constructible_v<Narrow>);
static_assert(CanAppend<Narrow, int> && CanAppend<Narrow, double> && CanAppend<Narrow, Wide>);
static_assert(CanAppend<Wide, Narrow> && !CanAppend<Narrow, char>);

void strings() {
    Narrow text("abc"), head("abcdef", 3), empty;
    EXPECT(text == head && text != empty && text <= head && empty < text && empty.empty());
    EXPECT(text.length() == 3 && text.size() == 3 && text.capacity() == 4 && text.useCount() == 1);
    EXPECT(text[1] == 'b' && std::string_view(text) == "abc" && text.end() - text.begin() == 3);
    EXPECT(std::unordered_set<Narrow>({text, head}).size() == 1);
    text.append("defg", 2).push_back('f');
    text += "g";
    text += head;
    EXPECT(text == Narrow("abcdefgabc"));
    text.assign("xyz").resizeFor(2);
    text.data()[0] = 'X';
    EXPECT(std::string_view(text.c_str()) == "Xy");
    Wide made;
    made.createImpl(1, true);
    made.data()[0] = L'w';
    made.append(L"i", 1).push_back(L'd');
    made += L"e";
    EXPECT(made.assign(L"wide").resizeFor(4).length() == 4);
    std::ostringstream out;
    out << head;
    EXPECT(out.str() == "abc");
}

void widthsAndCase() {
    Narrow narrow = "x" + Narrow("yz");
    Wide wide = L"x" + Wide(L"\u00e9");
    narrow += wide;
    wide += narrow;
    EXPECT(toUTF8(fromUTF8(narrow)) == narrow && fromUTF8("ab", 1) == Wide(L"a"));
    EXPECT(Vq::WStringFromAscii("ascii") == Wide(L"ascii"));

    Narrow word("Word");
    toUpper(word);
    EXPECT(toLower(std::as_const(word)) == Narrow("word"));
    toLower(word);
    EXPECT(toUpper(std::as_const(word)) == Narrow("WORD"));
    Wide wideWord(L"Word");
    Vq::toUpper(wideWord);
    EXPECT(Vq::toLower(std::as_const(wideWord)) == Wide(L"word"));
    Vq::toLower(wideWord);
    EXPECT(Vq::toUpper(std::as_const(wideWord)) == Wide(L"WORD"));

    Vq::stripTrailingChars(wideWord, L'd');
    Vq::stripLeadingChars(wideWord, L'w');
    EXPECT(wideWord == Wide(L"or") && Vq::endsWith(wideWord, L'R', false));
    Narrow spaced("a  ");
    trimTrailingSpaces(spaced);
    EXPECT(spaced == Narrow("a") && isEssentiallyEmpty("  "));
    EXPECT(Vq::substituteCaseInsensitive(Wide(L"aBc"), Wide(L"b"), Wide(L"-")) == Wide(L"a-c"));
}

void numbers() {
    Narrow text;
    text += 1;
    text += 2U;
    text += 0.5;
    EXPECT(text == Narrow("120.500000"));
    EXPECT(StringFromInteger(-1) == Narrow("-1") && StringFromFloat(1.5) == Narrow("1.500000"));
    EXPECT(Vq::WStringFromInteger(-1) == Wide(L"-1"));
    EXPECT(Vq::WStringFromFloat(1.5, 2, true) == Wide(L"1.5"));
    EXPECT(Vq::IntFromWString(Wide(L"12"), 0) == 12 && Vq::Int64FromWString(Wide(L"12"), 0) == 12);
    EXPECT(Vq::FloatFromWString(Wide(L"0.5"), 0) == 0.5 && asDouble("0.5") == 0.5);
    setNumericLocale();
    std::istringstream in("one two");
    Narrow word;
    in >> word;
    EXPECT(word == Narrow("one"));
}

void splitting() {
    const Narrow narrow("a,b");
    const Wide wide(L"a,b");
    NarrowFields narrowFields;
    WideFields wideFields;
    EXPECT(Vq::splitIf(narrow, Vq::IsMatchingChar<char>(','), narrowFields,
                       Vq::kSplitHonourQuotes) == 2);
    EXPECT(Vq::splitIf(wide, Vq::IsMatchingChar<wchar_t>(L','), wideFields,
                       Vq::kSplitKeepSeparator) == 2);
    EXPECT(Vq::pack(wideFields, L'b') == Wide(L"a,bb"));
    EXPECT(Vq::splitFilename(Wide(L"folder/file")) == Wide(L"file"));

    std::vector<int> at;
    Vq::findSeparators(narrow, Vq::IsMatchingChar<char>(','), at, 0U);
    Vq::SplitOutputBuilder<Narrow> build(&narrowFields, &narrow);
    Vq::convertIndicesToSubStrings(narrow, at, build, Vq::kSplitDropShortFields);
    build(Vq::StringRegion{1, 0xFFFFFFFFU});
    EXPECT(narrowFields.size() == 5 && narrowFields.back() == Narrow(",b"));
}

// --- Checks and exceptions

static_assert(!std::is_base_of_v<std::exception, Vq::Exception::Base>);

template <class Thrown, class Action> const char* messageOf(Action action) {
    try {
        action();
    } catch (const Thrown& thrown) {
        return thrown.message_;
    }
    return "nothing was thrown";
}

void checks() {
    using namespace Vq::Check::Private;
    using Vq::Exception::Base, Vq::Exception::LogicError, Vq::Exception::RuntimeError;
    EXPECT(checkAndLog(0, "file", 1, "expression", true));
    EXPECT(!checkAndLog(-1, "file", 1, "expression", false, 0.0, 1.0) && logInDebug());
    EXPECT(VQ_CHECK(1));
    Vq::LogTimed("%s\n", "a timed line");

    // Thrown here and caught there, or the other way round: the types are one across libraries.
    const auto throwsShort = [] { throwShort("file", 12, -2); };
    EXPECT(std::string_view(messageOf<RuntimeError>(throwsShort)) ==
           "VqCheck: file(12) FAILED with code 0xfffffffe");
    EXPECT(std::string_view(messageOf<Base>([] { throwDetailed("f", 1, "x", -1); })) ==
           "VqCheck: f(1) [x] = 0xffffffff");
    EXPECT(std::string_view(messageOf<Base>([] { throw LogicError("wrong", "f", 1); })) == "wrong");
    const RuntimeError error("message", "file", 7);
    EXPECT(std::string_view(error.typeName_) == "RuntimeError" && error.line_ == 7);
    EXPECT(std::string_view(error.file_) == "file" && !error.callStack_.empty());
}

// --- Settings

void pairs() {
    const Pair made(Narrow("k"), Narrow("v"), '='), wide(Wide(L"k"), Wide(L"v"), '=');
    const Pair parsed(Narrow("k=v"), '=');
    Pair assigned, text = Pair::fromText("k=v"), parts = Pair::fromParts("k", "v");
    EXPECT(made == wide && made == parsed && !assigned.valid() && made.valid());
    EXPECT(made.form() == Pair::kTextAndParts && text.form() == Pair::kTextOnly);
    EXPECT(parts.form() == Pair::kPartsOnly && parsed.name() == Narrow("k"));
    EXPECT(parsed.value() == Narrow("v") && parsed.text() == Narrow("k=v"));
    assigned = text;
    EXPECT(assigned.asString('=') == Narrow("k=v") && parts.asWString(':') == Wide(L"k:v"));

    Pairs list = Pair::vecFromString("a=1,b=2", '=', ',');
    EXPECT(Pair::asString(list, '=', ';') == Narrow("a=1;b=2"));
    EXPECT(Pair::asWString(list, '=', ';') == Wide(L"a=1;b=2"));
    EXPECT(Pair::getValue(Narrow("b"), list) == Narrow("2"));
    EXPECT(Pair::getValue(Wide(L"b"), list) == Wide(L"2"));
    list.push_back(made);
    EXPECT(list.size() == 3 && !list.empty() && list[2] == made && list.begin() + 3 == list.end());
}

void settings() {
    VqIniFile file(true);
    const VqIniFile& readOnly = file;
    file["Video"].emplace_back(Narrow("width"), Narrow("720"), '=');
    file.getSection("Audio");
    EXPECT(readOnly.getNumSections() == 2 && readOnly.getSectionNameCaseSensitivity());
    EXPECT(readOnly.sectionExists("Video") && readOnly["Video"].size() == 1);
    EXPECT(readOnly.getSection("absent").empty());

    VqIniFile::SectionIterator at = file.getSectionIterator();
    VqIniFile::ConstSectionIterator constAt = readOnly.getSectionIterator();
    EXPECT(at.valid() && constAt.valid() && constAt.name() == Narrow("Audio"));
    EXPECT((*at++).empty() && (*at).size() == 1);
    EXPECT(at.name() == Narrow("Video") && (++constAt).name() == Narrow("Video"));
    EXPECT((*constAt).size() == 1 && !(++at).valid());

    std::vector<Pair>& video = file["Video"];
    EXPECT(VqIniFile::findBeginsWith("WI", video, false, video.begin()) == video.begin());
    EXPECT(std::string_view(messageOf<Vq::Exception::LogicError>([&video] {
               VqIniFile::findContains("id", video, false, video.begin());
           })) == "Not implemented yet!");

    const Wide path(L"client.ini");
    EXPECT(file.save(path) && file.saveAll(path));
    file.removeSection("Video");
    EXPECT(file.load(path, '\n') && file["Video"].size() == 1);
    EXPECT(VqIniFile(path, true, false)["VIDEO"].size() == 1);
}

void linesToSections() {
    using Order = VqIniFile_Private::StringLT_Fancy;
    std::map<Narrow, std::vector<Pair>, Order> sections{Order(false)};
    SectionsBuildingOutputIterator sink(&sections);
    Vq::StringManip::splitBuffer(sink, "a=1\n", 4UL, '\n');
    EXPECT(sections.count(VqIniFile::kAnonymousSection()) == 1);
}

// --- The machine

void machine() {
    EXPECT(Vq::CPUInfo::getNumProcessors() > 0);
    const double start = Vq::now();
    EXPECT(Vq::now() >= start && Vq::SecondsNow() >= start / 1000.0);
    EXPECT(Vq::CRC::IterateCRC32('a', 0) == Vq::CRC::CalculateCRC32ForBlock("a", 1));
}

} // namespace

int main() {
    handles();
    memory();
    platform();
    strings();
    widthsAndCase();
    numbers();
    splitting();
    checks();
    pairs();
    settings();
    linesToSections();
    machine();
    vocabulary();
    return failures == 0 ? 0 : 1;
}
