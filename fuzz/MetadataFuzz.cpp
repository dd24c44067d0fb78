// The text of the five image records, against a model that cuts at commas and reads with strtol.

#include "Property.h"

#include "Vq/ImageMetadata.h"

#include <vector>

namespace {

using namespace Vq::Image;
using vqfuzz::Input;
using vqfuzz::require;

/// The items of a text: an empty one at either end of several does not count.
std::vector<std::string> itemsOf(const std::string& text) {
    std::vector<std::string> items(1);
    for (const char c : text) {
        if (c == ',') {
            items.emplace_back();
        } else {
            items.back() += c;
        }
    }
    if (items.size() > 1 && items.back().empty()) items.pop_back();
    if (items.size() > 1 && items.front().empty()) items.erase(items.begin());
    return items;
}

long numberIn(const std::string& item) {
    return std::strtol(item.c_str(), nullptr, 10);
}

/// The items, or none when the text is not one of that record.
std::vector<std::string> itemsOf(const std::string& text, const char* tag, std::size_t count) {
    std::vector<std::string> items = itemsOf(text);
    if (items.size() != count || items[0] != tag || numberIn(items[1]) != 1) items.clear();
    return items;
}

unsigned int word(const std::string& item) {
    return static_cast<unsigned int>(numberIn(item));
}
int number(const std::string& item) {
    return static_cast<int>(numberIn(item));
}
unsigned short half(const std::string& item) {
    return static_cast<unsigned short>(numberIn(item));
}
bool flag(const std::string& item) {
    return numberIn(item) != 0;
}

template <class Record> bool prints(const Record& record, const std::string& text) {
    return std::string_view(record.asString()) == text &&
           Record(record.asString()).asString() == record.asString();
}

std::string line(const char* tag, std::initializer_list<long> items) {
    std::string text = std::string(tag) + ",1,";
    for (const long item : items) text += std::to_string(item) + ',';
    return text;
}

void checkCore(const LightweightString<char>& text, const std::string& plain) {
    const Core::Data core(text);
    const auto items = itemsOf(plain, "Metadata::Core", 9);
    Core::Fields expected;
    if (!items.empty()) {
        expected = {word(items[2]), word(items[3]), Format(number(items[4])),
                    half(items[6]), half(items[7]), flag(items[8])};
    }
    require(core.getWidth() == expected.width && core.getHeight() == expected.height &&
                core.getDataFormat() == expected.dataFormat &&
                core.getBitsPerComponent() == expected.bitsPerComponent &&
                core.getBitsPerPixel() == expected.bitsPerPixel &&
                core.getCoreDataSet() == expected.set,
            "Core reads as the model");
    require(prints(core,
                   line("Metadata::Core",
                        {expected.width, expected.height, expected.dataFormat, expected.dataFormat,
                         expected.bitsPerComponent, expected.bitsPerPixel, expected.set})),
            "Core prints as the model");
}

void checkBufferFormat(const LightweightString<char>& text, const std::string& plain) {
    const BufferFormat::Data record(text);
    const auto items = itemsOf(plain, "Metadata::BufferFormat", 6);
    BufferFormat::Fields expected;
    if (!items.empty()) {
        expected = {flag(items[2]), word(items[3]), half(items[4]), flag(items[5])};
    }
    require(
        prints(record, line("Metadata::BufferFormat", {expected.isTopDown, expected.stride,
                                                       expected.strideMultiplier, expected.set})),
        "BufferFormat reads and prints as the model");
}

void checkVideo(const LightweightString<char>& text, const std::string& plain) {
    const Video::Data record(text);
    const auto items = itemsOf(plain, "Metadata::Video", 6);
    Video::Fields expected;
    if (!items.empty()) {
        expected = {ScanMode(number(items[2])), AspectRatio(number(items[3])), word(items[4]),
                    flag(items[5])};
    }
    require(prints(record, line("Metadata::Video", {expected.scanMode, expected.aspectRatio,
                                                    expected.videoFormatUID, expected.set})),
            "Video reads and prints as the model");
}

void checkVideoSample(const LightweightString<char>& text, const std::string& plain) {
    const VideoSample::Data record(text);
    const auto items = itemsOf(plain, "Metadata::VideoSample", 6);
    VideoSample::Fields expected;
    if (!items.empty()) {
        expected = {Polarity(number(items[2])), Colorimetry(number(items[3])),
                    GamutScaling(number(items[4])), flag(items[5])};
    }
    require(prints(record, line("Metadata::VideoSample", {expected.polarity, expected.colorimetry,
                                                          expected.gamutScaling, expected.set})),
            "VideoSample reads and prints as the model");
}

void checkVideoSequence(const LightweightString<char>& text, const std::string& plain) {
    const VideoSequence::Data record(text);
    const auto items = itemsOf(plain, "Metadata::VideoSequence", 4);
    VideoSequence::Fields expected;
    if (!items.empty()) expected = {Vq::FrameRate(number(items[2])), flag(items[3])};
    require(prints(record, line("Metadata::VideoSequence", {expected.frameRate, expected.set})),
            "VideoSequence reads and prints as the model");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string plain(Input(data, size).rest());
    const LightweightString<char> text{std::string_view(plain)};
    checkCore(text, plain);
    checkBufferFormat(text, plain);
    checkVideo(text, plain);
    checkVideoSample(text, plain);
    checkVideoSequence(text, plain);
    return 0;
}
