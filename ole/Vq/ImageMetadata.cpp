#include "Vq/ImageMetadata.h"

#include "Vq/detail/SeparatorScan.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <string_view>
#include <tuple>
#include <type_traits>

namespace Vq::Image {

const LightweightString<char> kStartBatch("StartBatch");
const LightweightString<char> kEndBatch("EndBatch");
const double kMinusOneYearSeconds = -31536000.0;

namespace {

constexpr int kVersion = 1;
constexpr std::size_t kFirstField = 2; // behind the tag and the version

// An item is its comma and at most a sign and ten digits.
constexpr std::size_t kLongestItem = 12;

long numberIn(std::string_view item) {
    // Digits, of which no more than a number has room for, behind at most a sign: by far the usual
    // item. All others are libc's to judge.
    const bool isNegative = !item.empty() && item.front() == '-';
    const std::string_view digits = item.substr(isNegative ? 1 : 0);
    constexpr std::size_t kSafeDigits = 18;
    long number = 0;
    bool isPlain = !digits.empty() && digits.size() <= kSafeDigits;
    for (std::size_t i = 0; isPlain && i < digits.size(); ++i) {
        isPlain = digits[i] >= '0' && digits[i] <= '9';
        number = number * 10 + (digits[i] - '0');
    }
    if (isPlain) return isNegative ? -number : number;
    return std::strtol(LightweightString<char>(item).c_str(), nullptr, 10);
}

/// Where a text grows, which has room for it.
struct Printer {
    char* end;

    void append(std::string_view text) { end = std::copy(text.begin(), text.end(), end); }

    template <class N> void item(N number) {
        end = std::to_chars(end, end + kLongestItem, number).ptr;
        *end++ = ',';
    }
};

/// The 32 bits of a field as its text form has them: unsigned where the field is, all others (the
/// enumerations, the 16-bit fields, the flags) as signed.
template <class V> auto printable(V value) {
    if constexpr (std::is_same_v<V, unsigned int>) {
        return value;
    } else {
        return static_cast<int>(value);
    }
}

/// How a field stands in the text: as one item.
template <class F, class V> struct Once {
    static constexpr std::size_t kItems = 1;
    V F::*field;

    void print(Printer& text, const F& fields) const { text.item(printable(fields.*field)); }
    void parse(F& fields, std::string_view item) const { fields.*field = valueOf(numberIn(item)); }

private:
    static V valueOf(long number) {
        if constexpr (std::is_same_v<V, bool>) {
            return number != 0;
        } else {
            return static_cast<V>(static_cast<int>(number));
        }
    }
};

/// Or as two equal items, of which the second is not read.
template <class F, class V> struct Twice {
    static constexpr std::size_t kItems = 2;
    Once<F, V> once;

    void print(Printer& text, const F& fields) const {
        once.print(text, fields);
        once.print(text, fields);
    }
    void parse(F& fields, std::string_view item) const { once.parse(fields, item); }
};

template <class F, class V> Once(V F::*) -> Once<F, V>;
template <class F, class V> Twice(Once<F, V>) -> Twice<F, V>;

/// All that printing and parsing know of a record: its tag and its fields in order.
template <class... Members> struct Description {
    static constexpr std::size_t kItems = kFirstField + (0 + ... + Members::kItems);

    const char* tag;
    std::tuple<Members...> members;

    constexpr explicit Description(const char* recordTag, Members... inOrder)
        : tag(recordTag), members(inOrder...) {}

    /// Characters that no text of this record goes beyond.
    constexpr std::size_t longestText() const {
        return std::string_view(tag).size() + 1 + (kItems - 1) * kLongestItem;
    }
};

constexpr auto describe(const Core::Fields&) {
    using F = Core::Fields;
    return Description("Metadata::Core", Once{&F::width}, Once{&F::height},
                       Twice{Once{&F::dataFormat}}, Once{&F::bitsPerComponent},
                       Once{&F::bitsPerPixel}, Once{&F::set});
}

constexpr auto describe(const BufferFormat::Fields&) {
    using F = BufferFormat::Fields;
    return Description("Metadata::BufferFormat", Once{&F::isTopDown}, Once{&F::stride},
                       Once{&F::strideMultiplier}, Once{&F::set});
}

constexpr auto describe(const Video::Fields&) {
    using F = Video::Fields;
    return Description("Metadata::Video", Once{&F::scanMode}, Once{&F::aspectRatio},
                       Once{&F::videoFormatUID}, Once{&F::set});
}

constexpr auto describe(const VideoSample::Fields&) {
    using F = VideoSample::Fields;
    return Description("Metadata::VideoSample", Once{&F::polarity}, Once{&F::colorimetry},
                       Once{&F::gamutScaling}, Once{&F::set});
}

constexpr auto describe(const VideoSequence::Fields&) {
    using F = VideoSequence::Fields;
    return Description("Metadata::VideoSequence", Once{&F::frameRate}, Once{&F::set});
}

template <class F> LightweightString<char> print(const F& fields) {
    constexpr auto kDescription = describe(F());
    char text[kDescription.longestText()];
    Printer printer{text};
    printer.append(kDescription.tag);
    printer.append(",");
    printer.item(kVersion);
    std::apply([&](const auto&... member) { (member.print(printer, fields), ...); },
               kDescription.members);
    return LightweightString<char>(
        std::string_view(text, static_cast<std::size_t>(printer.end - text)));
}

/// The items of a text, which are the fields that `splitIf` cuts it into: where it is no longer
/// than one comma, that makes one of them, which no record has.
template <std::size_t kCount> class Items {
public:
    explicit Items(std::string_view text) {
        std::size_t start = !text.empty() && text.front() == ',' ? 1 : 0;
        const auto take = [&](std::size_t end) {
            if (count_ < kCount) items_[count_] = text.substr(start, end - start);
            ++count_;
            start = end + 1;
        };
        detail::forEachSeparator(text, ',', false, [&](std::size_t position) {
            if (position != 0) take(position);
        });
        if (start < text.size()) take(text.size());
    }

    bool areAll() const { return count_ == kCount; }
    const std::string_view* data() const { return items_.data(); }
    std::string_view operator[](std::size_t i) const { return items_[i]; }

private:
    std::array<std::string_view, kCount> items_;
    std::size_t count_ = 0;
};

template <class F> F parse(const LightweightString<char>& text) {
    constexpr auto kDescription = describe(F());
    const Items<kDescription.kItems> items(text);
    F fields;
    if (!items.areAll() || items[0] != kDescription.tag || numberIn(items[1]) != kVersion) {
        return fields;
    }
    const auto* item = items.data() + kFirstField;
    const auto take = [&](const auto& member) {
        member.parse(fields, *item);
        item += member.kItems;
    };
    std::apply([&](const auto&... member) { (take(member), ...); }, kDescription.members);
    return fields;
}

} // namespace

Core::Data::Data() = default;
Core::Data::Data(unsigned int width, unsigned int height, Format dataFormat,
                 unsigned short bitsPerComponent, unsigned short bitsPerPixel, bool set)
    : fields_{width, height, dataFormat, bitsPerComponent, bitsPerPixel, set} {}
Core::Data::Data(const LightweightString<char>& text) : fields_(parse<Fields>(text)) {}
Core::Data::Data(const Data&) = default;
Core::Data& Core::Data::operator=(const Data&) = default;
Core::Data::~Data() = default;

LightweightString<char> Core::Data::asString() const {
    return print(fields_);
}

BufferFormat::Data::Data() = default;
BufferFormat::Data::Data(bool isTopDown, unsigned short stride, unsigned short strideMultiplier,
                         bool set)
    : fields_{isTopDown, stride, strideMultiplier, set} {}
BufferFormat::Data::Data(const LightweightString<char>& text) : fields_(parse<Fields>(text)) {}
BufferFormat::Data::Data(const Data&) = default;
BufferFormat::Data& BufferFormat::Data::operator=(const Data&) = default;
BufferFormat::Data::~Data() = default;

LightweightString<char> BufferFormat::Data::asString() const {
    return print(fields_);
}

Video::Data::Data() = default;
Video::Data::Data(ScanMode scanMode, AspectRatio aspectRatio, unsigned int videoFormatUID, bool set)
    : fields_{scanMode, aspectRatio, videoFormatUID, set} {}
Video::Data::Data(const LightweightString<char>& text) : fields_(parse<Fields>(text)) {}
Video::Data::Data(const Data&) = default;
Video::Data& Video::Data::operator=(const Data&) = default;
Video::Data::~Data() = default;

LightweightString<char> Video::Data::asString() const {
    return print(fields_);
}

VideoSample::Data::Data() = default;
VideoSample::Data::Data(Polarity polarity, Colorimetry colorimetry, GamutScaling gamutScaling,
                        bool set)
    : fields_{polarity, colorimetry, gamutScaling, set} {}
VideoSample::Data::Data(const LightweightString<char>& text) : fields_(parse<Fields>(text)) {}
VideoSample::Data::Data(const Data&) = default;
VideoSample::Data& VideoSample::Data::operator=(const Data&) = default;
VideoSample::Data::~Data() = default;

LightweightString<char> VideoSample::Data::asString() const {
    return print(fields_);
}

VideoSequence::Data::Data() = default;
VideoSequence::Data::Data(FrameRate frameRate, bool set) : fields_{frameRate, set} {}
VideoSequence::Data::Data(const LightweightString<char>& text) : fields_(parse<Fields>(text)) {}
VideoSequence::Data::Data(const Data&) = default;
VideoSequence::Data& VideoSequence::Data::operator=(const Data&) = default;
VideoSequence::Data::~Data() = default;

LightweightString<char> VideoSequence::Data::asString() const {
    return print(fields_);
}

} // namespace Vq::Image
