#include "MetaCommand.h"

#include "Lines.h"
#include "Progress.h"

#include "Vq/ImageMetadata.h"
#include "Vq/StringSplit.h"
#include "Vq/System.h"

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <unistd.h>

namespace vqtool {

namespace {

using Text = LightweightString<char>;
using Items = Vq::StringToVec<Text>::VecT;

/// Memory stays small whatever is read. No program writes more than a hundred characters.
constexpr std::size_t kLongestLine = 1UL << 20;

Items itemsOf(const Text& text) {
    Items items;
    Vq::splitIf(text, Vq::IsMatchingChar<char>(','), items, 0);
    return items;
}

long versionIn(const Items& items) {
    return std::strtol(items[1].c_str(), nullptr, 10);
}

template <class V> std::string shown(V value) {
    if constexpr (std::is_same_v<V, bool>) {
        return value ? "yes" : "no";
    } else if constexpr (std::is_enum_v<V>) {
        return std::to_string(static_cast<int>(value)); // its names are the applications'
    } else {
        return std::to_string(value);
    }
}

template <class Data, class V> struct Field {
    const char* name;
    V (Data::*get)() const;
};

template <class Data, class V> Field(const char*, V (Data::*)() const) -> Field<Data, V>;

struct Record {
    const char* name;
    /// The items of the library's own text of a record: those of any other have the same tag and
    /// version and are as many.
    Items form;
    std::function<void(const Text&)> printFields;

    bool isFormOf(const Items& items) const {
        return items.size() == form.size() && items[0] == form[0] &&
               versionIn(items) == versionIn(form);
    }
};

template <class Data, class... Fields> Record describe(const char* name, Fields... fields) {
    return {name, itemsOf(Data().asString()), [=](const Text& text) {
                const Data data(text);
                (printLine({"  ", named(fields.name, shown((data.*fields.get)()))}), ...);
            }};
}

/// All that the command knows of the records.
const std::vector<Record>& records() {
    using namespace Vq::Image;
    static const std::vector<Record> all = {
        describe<Core::Data>("Core", Field{"width", &Core::Data::getWidth},
                             Field{"height", &Core::Data::getHeight},
                             Field{"dataFormat", &Core::Data::getDataFormat},
                             Field{"bitsPerComponent", &Core::Data::getBitsPerComponent},
                             Field{"bitsPerPixel", &Core::Data::getBitsPerPixel},
                             Field{"coreDataSet", &Core::Data::getCoreDataSet}),
        describe<BufferFormat::Data>(
            "BufferFormat", Field{"isTopDown", &BufferFormat::Data::getIsTopDown},
            Field{"stride", &BufferFormat::Data::getStride},
            Field{"strideMultiplier", &BufferFormat::Data::getStrideMultiplier},
            Field{"bufferFormatDataSet", &BufferFormat::Data::getBufferFormatDataSet}),
        describe<Video::Data>("Video", Field{"scanMode", &Video::Data::getScanMode},
                              Field{"aspectRatio", &Video::Data::getAspectRatio},
                              Field{"videoFormatUID", &Video::Data::getVideoFormatUID},
                              Field{"videoDataSet", &Video::Data::getVideoDataSet}),
        describe<VideoSample::Data>(
            "VideoSample", Field{"polarity", &VideoSample::Data::getPolarity},
            Field{"colorimetry", &VideoSample::Data::getColorimetry},
            Field{"gamutScaling", &VideoSample::Data::getGamutScaling},
            Field{"videoSampleDataSet", &VideoSample::Data::getVideoSampleDataSet}),
        describe<VideoSequence::Data>(
            "VideoSequence", Field{"frameRate", &VideoSequence::Data::getFrameRate},
            Field{"videoSequenceDataSet", &VideoSequence::Data::getVideoSequenceDataSet}),
    };
    return all;
}

/// Cuts what it is given into lines and prints them.
class Printer {
public:
    Printer(std::string source, Progress& progress)
        : source_(std::move(source)), progress_(progress) {}

    /// False when printing more is of no use.
    bool take(std::string_view piece) {
        for (;;) {
            const std::size_t end = piece.find('\n');
            hold(piece.substr(0, end));
            if (end == piece.npos) return !isOutputBroken();
            endLine();
            piece.remove_prefix(end + 1);
        }
    }

    /// Prints a last line without a line end. Were all lines good?
    bool finish() {
        if (!line_.empty() || isTooLong_) endLine();
        return isGood_;
    }

private:
    void hold(std::string_view part) {
        isTooLong_ = isTooLong_ || line_.size() + part.size() > kLongestLine;
        if (isTooLong_) {
            line_.clear();
        } else {
            line_ += part;
        }
    }

    void endLine() {
        ++number_;
        if (line_.ends_with('\r')) line_.pop_back();
        if (isTooLong_) {
            reject("longer than 1 MiB");
        } else if (!line_.empty()) {
            print(Text(std::string_view(line_)));
        }
        line_.clear();
        isTooLong_ = false;
    }

    void print(const Text& text) {
        if (text == Vq::Image::kStartBatch || text == Vq::Image::kEndBatch) {
            printHeading(text);
            return;
        }
        const Items items = itemsOf(text);
        const auto record =
            std::find_if(records().begin(), records().end(),
                         [&items](const Record& known) { return known.isFormOf(items); });
        if (record == records().end()) {
            reject("no metadata record");
        } else {
            printHeading(record->name);
            record->printFields(text);
        }
    }

    void printHeading(std::string_view what) const {
        printLine({"line ", std::to_string(number_), ": ", what});
    }

    void reject(std::string_view reason) {
        progress_.clear();
        complain(source_, joined({"line ", std::to_string(number_), ": ", reason}));
        isGood_ = false;
    }

    const std::string source_;
    Progress& progress_;
    std::string line_;
    std::size_t number_ = 0;
    bool isTooLong_ = false;
    bool isGood_ = true;
};

} // namespace

Status printMetadata(const std::string& file) {
    // Results that run down the same terminal are progress enough, and would tear the line apart.
    const bool showsResults = isatty(STDOUT_FILENO) == 1;
    Progress progress(showsResults ? nullptr : terminalForProgress(), Vq::now, 1);
    const bool isStandardInput = file == "-";
    Printer printer(isStandardInput ? kStandardInput : file, progress);
    const TakePiece take = [&printer](std::string_view piece) { return printer.take(piece); };
    const bool isWhole = isStandardInput ? readStandardInputInPieces(progress, take)
                                         : readInPieces(file, progress, take);
    return printer.finish() && isWhole ? kDone : kFailed;
}

} // namespace vqtool
