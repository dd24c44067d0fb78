/// One view of the five image records for tests that hold all of them to the same rules: their
/// fields by number, as plain integers in order.
///
///     ImageRecord<Vq::Image::Video::Data>::valuesOf(record);     // {3, 2, 77, 1}
#pragma once

#include "Vq/ImageMetadata.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

namespace vqtest {

/// What a record holds, field by field.
using FieldValues = std::vector<long>;

enum class FieldKind { kUnsigned32, kEnum, kUnsigned16, kFlag };

/// What a field of that kind keeps of a number.
inline long storedIn(FieldKind kind, long number) {
    switch (kind) {
    case FieldKind::kUnsigned32:
        return static_cast<long>(static_cast<unsigned long>(number) & 0xFFFFFFFFul);
    case FieldKind::kEnum: {
        const unsigned long low = static_cast<unsigned long>(number) & 0xFFFFFFFFul;
        return low < 0x80000000ul ? static_cast<long>(low) : static_cast<long>(low) - 0x100000000;
    }
    case FieldKind::kUnsigned16:
        return static_cast<long>(static_cast<unsigned long>(number) & 0xFFFFul);
    case FieldKind::kFlag:
        break;
    }
    return number != 0 ? 1 : 0;
}

/// Per record: its tag; the kinds of its fields; which items of its text say what they hold (the
/// tag is item 0); how many items there are; its fields when it is made of nothing; and a sample in
/// which no field has that value.
template <class Data> struct ImageRecord;

template <> struct ImageRecord<Vq::Image::Core::Data> {
    using Data = Vq::Image::Core::Data;
    using Interface = Vq::Image::Core::Interface;
    static constexpr char kTag[] = "Metadata::Core";
    static constexpr std::size_t kItemCount = 9;
    static inline const std::vector<FieldKind> kKinds{
        FieldKind::kUnsigned32, FieldKind::kUnsigned32, FieldKind::kEnum,
        FieldKind::kUnsigned16, FieldKind::kUnsigned16, FieldKind::kFlag};
    static inline const std::vector<std::size_t> kItems{2, 3, 4, 6, 7, 8};
    static inline const FieldValues kDefaults{0, 0, -1, 0, 0, 0};
    static inline const FieldValues kSample{1920, 1080, 7, 8, 24, 1};

    static Data make(const FieldValues& v) {
        return {static_cast<unsigned int>(v[0]),   static_cast<unsigned int>(v[1]),
                Vq::Image::Format(v[2]),           static_cast<unsigned short>(v[3]),
                static_cast<unsigned short>(v[4]), v[5] != 0};
    }
    static FieldValues valuesOf(const Interface& r) {
        return {r.getWidth(),        r.getHeight(),     r.getDataFormat(), r.getBitsPerComponent(),
                r.getBitsPerPixel(), r.getCoreDataSet()};
    }
    static void set(Interface& r, std::size_t field, long value) {
        switch (field) {
        case 0:
            return r.setWidth(static_cast<unsigned int>(value));
        case 1:
            return r.setHeight(static_cast<unsigned int>(value));
        case 2:
            return r.setDataFormat(Vq::Image::Format(value));
        case 3:
            return r.setBitsPerComponent(static_cast<unsigned short>(value));
        case 4:
            return r.setBitsPerPixel(static_cast<unsigned short>(value));
        default:
            return r.setCoreDataSet(value != 0);
        }
    }
};

template <> struct ImageRecord<Vq::Image::BufferFormat::Data> {
    using Data = Vq::Image::BufferFormat::Data;
    using Interface = Vq::Image::BufferFormat::Interface;
    static constexpr char kTag[] = "Metadata::BufferFormat";
    static constexpr std::size_t kItemCount = 6;
    static inline const std::vector<FieldKind> kKinds{FieldKind::kFlag, FieldKind::kUnsigned32,
                                                      FieldKind::kUnsigned16, FieldKind::kFlag};
    static inline const std::vector<std::size_t> kItems{2, 3, 4, 5};
    static inline const FieldValues kDefaults{1, 0, 0, 0};
    static inline const FieldValues kSample{0, 7680, 3, 1};

    /// The stride through its setter, since the constructor cuts it.
    static Data make(const FieldValues& v) {
        Data record(v[0] != 0, 0, static_cast<unsigned short>(v[2]), v[3] != 0);
        record.setStride(static_cast<unsigned int>(v[1]));
        return record;
    }
    static FieldValues valuesOf(const Interface& r) {
        return {r.getIsTopDown(), r.getStride(), r.getStrideMultiplier(),
                r.getBufferFormatDataSet()};
    }
    static void set(Interface& r, std::size_t field, long value) {
        switch (field) {
        case 0:
            return r.setIsTopDown(value != 0);
        case 1:
            return r.setStride(static_cast<unsigned int>(value));
        case 2:
            return r.setStrideMultiplier(static_cast<unsigned short>(value));
        default:
            return r.setBufferFormatDataSet(value != 0);
        }
    }
};

template <> struct ImageRecord<Vq::Image::Video::Data> {
    using Data = Vq::Image::Video::Data;
    using Interface = Vq::Image::Video::Interface;
    static constexpr char kTag[] = "Metadata::Video";
    static constexpr std::size_t kItemCount = 6;
    static inline const std::vector<FieldKind> kKinds{FieldKind::kEnum, FieldKind::kEnum,
                                                      FieldKind::kUnsigned32, FieldKind::kFlag};
    static inline const std::vector<std::size_t> kItems{2, 3, 4, 5};
    static inline const FieldValues kDefaults{0, 0, 0, 0};
    static inline const FieldValues kSample{3, -2, 77, 1};

    static Data make(const FieldValues& v) {
        return {Vq::Image::ScanMode(v[0]), Vq::Image::AspectRatio(v[1]),
                static_cast<unsigned int>(v[2]), v[3] != 0};
    }
    static FieldValues valuesOf(const Interface& r) {
        return {r.getScanMode(), r.getAspectRatio(), r.getVideoFormatUID(), r.getVideoDataSet()};
    }
    static void set(Interface& r, std::size_t field, long value) {
        switch (field) {
        case 0:
            return r.setScanMode(Vq::Image::ScanMode(value));
        case 1:
            return r.setAspectRatio(Vq::Image::AspectRatio(value));
        case 2:
            return r.setVideoFormatUID(static_cast<unsigned int>(value));
        default:
            return r.setVideoDataSet(value != 0);
        }
    }
};

template <> struct ImageRecord<Vq::Image::VideoSample::Data> {
    using Data = Vq::Image::VideoSample::Data;
    using Interface = Vq::Image::VideoSample::Interface;
    static constexpr char kTag[] = "Metadata::VideoSample";
    static constexpr std::size_t kItemCount = 6;
    static inline const std::vector<FieldKind> kKinds{FieldKind::kEnum, FieldKind::kEnum,
                                                      FieldKind::kEnum, FieldKind::kFlag};
    static inline const std::vector<std::size_t> kItems{2, 3, 4, 5};
    static inline const FieldValues kDefaults{0, 0, 0, 0};
    static inline const FieldValues kSample{1, 709, -5, 1};

    static Data make(const FieldValues& v) {
        return {Vq::Image::Polarity(v[0]), Vq::Image::Colorimetry(v[1]),
                Vq::Image::GamutScaling(v[2]), v[3] != 0};
    }
    static FieldValues valuesOf(const Interface& r) {
        return {r.getPolarity(), r.getColorimetry(), r.getGamutScaling(),
                r.getVideoSampleDataSet()};
    }
    static void set(Interface& r, std::size_t field, long value) {
        switch (field) {
        case 0:
            return r.setPolarity(Vq::Image::Polarity(value));
        case 1:
            return r.setColorimetry(Vq::Image::Colorimetry(value));
        case 2:
            return r.setGamutScaling(Vq::Image::GamutScaling(value));
        default:
            return r.setVideoSampleDataSet(value != 0);
        }
    }
};

template <> struct ImageRecord<Vq::Image::VideoSequence::Data> {
    using Data = Vq::Image::VideoSequence::Data;
    using Interface = Vq::Image::VideoSequence::Interface;
    static constexpr char kTag[] = "Metadata::VideoSequence";
    static constexpr std::size_t kItemCount = 4;
    static inline const std::vector<FieldKind> kKinds{FieldKind::kEnum, FieldKind::kFlag};
    static inline const std::vector<std::size_t> kItems{2, 3};
    static inline const FieldValues kDefaults{0, 0};
    static inline const FieldValues kSample{25, 1};

    static Data make(const FieldValues& v) { return {Vq::FrameRate(v[0]), v[1] != 0}; }
    static FieldValues valuesOf(const Interface& r) {
        return {r.getFrameRate(), r.getVideoSequenceDataSet()};
    }
    static void set(Interface& r, std::size_t field, long value) {
        if (field == 0) return r.setFrameRate(Vq::FrameRate(value));
        r.setVideoSequenceDataSet(value != 0);
    }
};

using ImageRecordTypes =
    ::testing::Types<Vq::Image::Core::Data, Vq::Image::BufferFormat::Data, Vq::Image::Video::Data,
                     Vq::Image::VideoSample::Data, Vq::Image::VideoSequence::Data>;

} // namespace vqtest
