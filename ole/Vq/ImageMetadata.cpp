#include "Vq/ImageMetadata.h"

#include "Vq/String.h"
#include "Vq/StringSplit.h"

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

using Items = StringToVec<LightweightString<char>>::VecT;

constexpr long kVersion = 1;
constexpr std::size_t kFirstField = 2; // behind the tag and the version

long numberIn(const LightweightString<char>& item) {
    return std::strtol(item.c_str(), nullptr, 10);
}

void appendItem(LightweightString<char>& text, unsigned int value) {
    text += value;
    text.push_back(',');
}

void appendItem(LightweightString<char>& text, int value) {
    text += value;
    text.push_back(',');
}

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

    void print(LightweightString<char>& text, const F& fields) const {
        appendItem(text, printable(fields.*field));
    }
    void parse(F& fields, const LightweightString<char>& item) const {
        fields.*field = valueOf(numberIn(item));
    }

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

    void print(LightweightString<char>& text, const F& fields) const {
        once.print(text, fields);
        once.print(text, fields);
    }
    void parse(F& fields, const LightweightString<char>& item) const { once.parse(fields, item); }
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

    /// Characters that no text of this record goes beyond: an item is its comma and at most a sign
    /// and ten digits.
    constexpr std::size_t longestText() const {
        return std::string_view(tag).size() + 1 + (kItems - 1) * 12;
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
    // Room for all that follows, so that nothing moves.
    auto text = LightweightString<char>::withLength(kDescription.longestText());
    text.assign(kDescription.tag);
    text.push_back(',');
    appendItem(text, static_cast<int>(kVersion));
    std::apply([&](const auto&... member) { (member.print(text, fields), ...); },
               kDescription.members);
    return text;
}

template <class F> F parse(const LightweightString<char>& text) {
    constexpr auto kDescription = describe(F());
    Items items;
    splitIf(text, IsMatchingChar<char>(','), items, 0);
    F fields;
    if (items.size() != kDescription.kItems || items[0] != kDescription.tag ||
        numberIn(items[1]) != kVersion) {
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
