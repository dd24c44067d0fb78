// Image records as objects: fields and their defaults, virtual operations, copies, shared owners.
#include "Vq/ImageMetadata.h"

#include "Vq/Ptr.h"
#include "VqTest/ScriptedTest.h"
#include "support/ImageRecords.h"

#include <array>
#include <cstring>
#include <limits>
#include <memory>
#include <type_traits>
#include <vector>

namespace {

using namespace vqtest;
using namespace Vq::Image;
using enum vqtest::Call;

// Opaque: an application's header may define the enumerators.
template <class E>
constexpr bool isIntEnum =
    std::is_same_v<std::underlying_type_t<E>, int>&& std::is_convertible_v<E, int>;
static_assert(isIntEnum<Format> && isIntEnum<ScanMode> && isIntEnum<AspectRatio>);
static_assert(isIntEnum<Polarity> && isIntEnum<Colorimetry> && isIntEnum<GamutScaling>);
static_assert(isIntEnum<Vq::FrameRate>);

// The types of the fields.
template <class Getter, class Value> constexpr bool gives = false;
template <class Class, class Value> constexpr bool gives<Value (Class::*)() const, Value> = true;
static_assert(gives<decltype(&Core::Data::getWidth), unsigned int>);
static_assert(gives<decltype(&Core::Data::getHeight), unsigned int>);
static_assert(gives<decltype(&Core::Data::getDataFormat), Format>);
static_assert(gives<decltype(&Core::Data::getBitsPerComponent), unsigned short>);
static_assert(gives<decltype(&Core::Data::getBitsPerPixel), unsigned short>);
static_assert(gives<decltype(&Core::Data::getCoreDataSet), bool>);
static_assert(gives<decltype(&BufferFormat::Data::getIsTopDown), bool>);
static_assert(gives<decltype(&BufferFormat::Data::getStride), unsigned int>);
static_assert(gives<decltype(&BufferFormat::Data::getStrideMultiplier), unsigned short>);
static_assert(gives<decltype(&BufferFormat::Data::getBufferFormatDataSet), bool>);
static_assert(gives<decltype(&Video::Data::getScanMode), ScanMode>);
static_assert(gives<decltype(&Video::Data::getAspectRatio), AspectRatio>);
static_assert(gives<decltype(&Video::Data::getVideoFormatUID), unsigned int>);
static_assert(gives<decltype(&Video::Data::getVideoDataSet), bool>);
static_assert(gives<decltype(&VideoSample::Data::getPolarity), Polarity>);
static_assert(gives<decltype(&VideoSample::Data::getColorimetry), Colorimetry>);
static_assert(gives<decltype(&VideoSample::Data::getGamutScaling), GamutScaling>);
static_assert(gives<decltype(&VideoSample::Data::getVideoSampleDataSet), bool>);
static_assert(gives<decltype(&VideoSequence::Data::getFrameRate), Vq::FrameRate>);
static_assert(gives<decltype(&VideoSequence::Data::getVideoSequenceDataSet), bool>);

static_assert(std::is_same_v<decltype(kStartBatch), const LightweightString<char>>);
static_assert(std::is_same_v<decltype(kEndBatch), const LightweightString<char>>);
static_assert(std::is_same_v<decltype(kMinusOneYearSeconds), const double>);

/// What all five have in common.
template <class Data> class ImageRecordTest : public ScriptedTest {
protected:
    using Record = ImageRecord<Data>;
    using Interface = typename Record::Interface;

    static FieldValues valuesOf(const Interface& record) { return Record::valuesOf(record); }
    static Data sample() { return Record::make(Record::kSample); }

    static_assert(std::is_base_of_v<iObject, Interface> && std::is_base_of_v<Interface, Data>);
    static_assert(std::is_abstract_v<Interface> && !std::is_abstract_v<Data>);
    static_assert(std::is_convertible_v<Interface*, iObject*>, "a public base");
    static_assert(std::has_virtual_destructor_v<Interface>);
    static_assert(!std::is_copy_assignable_v<Interface>, "it would copy no field");
    static_assert(std::is_convertible_v<LightweightString<char>, Data>);
    static_assert(std::is_copy_constructible_v<Data> && std::is_copy_assignable_v<Data>);
};
TYPED_TEST_SUITE(ImageRecordTest, ImageRecordTypes);

TYPED_TEST(ImageRecordTest, HasItsDefaults) {
    EXPECT_EQ(this->valuesOf(TypeParam()), TestFixture::Record::kDefaults);
}

TYPED_TEST(ImageRecordTest, HasItsDefaultsInMemoryThatWasUsedBefore) {
    alignas(TypeParam) unsigned char storage[sizeof(TypeParam)];
    std::memset(storage, 0xCD, sizeof storage);
    auto* record = ::new (static_cast<void*>(storage)) TypeParam();
    EXPECT_EQ(this->valuesOf(*record), TestFixture::Record::kDefaults);
    std::destroy_at(record);
}

TYPED_TEST(ImageRecordTest, HoldsTheValuesItIsMadeOf) {
    EXPECT_EQ(this->valuesOf(this->sample()), TestFixture::Record::kSample);
}

TYPED_TEST(ImageRecordTest, SetsItsFlagOnlyWhenTold) {
    FieldValues values = TestFixture::Record::kSample;
    values.back() = 0;
    EXPECT_EQ(this->valuesOf(TestFixture::Record::make(values)), values);
    TypeParam record;
    for (std::size_t i = 0; i + 1 < values.size(); ++i) {
        TestFixture::Record::set(record, i, values[i]);
    }
    EXPECT_EQ(this->valuesOf(record), values);
}

TYPED_TEST(ImageRecordTest, SetsOneFieldAndNoOther) {
    const FieldValues& sample = TestFixture::Record::kSample;
    for (std::size_t i = 0; i < sample.size(); ++i) {
        TypeParam record;
        TestFixture::Record::set(record, i, sample[i]);
        FieldValues expected = TestFixture::Record::kDefaults;
        expected[i] = sample[i];
        EXPECT_EQ(this->valuesOf(record), expected) << "field " << i;

        TypeParam other = this->sample();
        TestFixture::Record::set(other, i, TestFixture::Record::kDefaults[i]);
        expected = sample;
        expected[i] = TestFixture::Record::kDefaults[i];
        EXPECT_EQ(this->valuesOf(other), expected) << "field " << i;
    }
}

TYPED_TEST(ImageRecordTest, KeepsEveryValueOfItsFieldsUnchecked) {
    const auto& kinds = TestFixture::Record::kKinds;
    for (std::size_t i = 0; i < kinds.size(); ++i) {
        for (const long number : {0l, 1l, -1l, 0x7FFFFFFFl, 0x80000000l, 0xFFFFl, 0x10000l}) {
            const long value = storedIn(kinds[i], number);
            FieldValues expected = TestFixture::Record::kSample;
            expected[i] = value;
            EXPECT_EQ(this->valuesOf(TestFixture::Record::make(expected)), expected);
            TypeParam record = this->sample();
            TestFixture::Record::set(record, i, value);
            EXPECT_EQ(this->valuesOf(record), expected) << value << " in field " << i;
        }
    }
}

TYPED_TEST(ImageRecordTest, CostsThePlatformNothing) {
    const Counts made = countsOf([&] {
        TypeParam record;
        TypeParam copy(record);
        copy = record;
        EXPECT_EQ(copy.refCount(), 0);
    });
    EXPECT_EQ(made.total(), 0) << made;
}

// --- Copies and counts

TYPED_TEST(ImageRecordTest, CopiesEveryField) {
    const TypeParam record = this->sample();
    const TypeParam copy(record);
    EXPECT_EQ(this->valuesOf(copy), TestFixture::Record::kSample);
    TypeParam assigned;
    assigned = record;
    EXPECT_EQ(this->valuesOf(assigned), TestFixture::Record::kSample);
}

TYPED_TEST(ImageRecordTest, IsEqualWhenEveryFieldIsAndWhateverTheCount) {
    const Vq::Ptr<TypeParam> held = new TypeParam(this->sample());
    EXPECT_TRUE(*held == this->sample());
    EXPECT_FALSE(*held != this->sample());
    EXPECT_TRUE(TypeParam() == TypeParam());
    const auto& kinds = TestFixture::Record::kKinds;
    for (std::size_t i = 0; i < kinds.size(); ++i) {
        TypeParam other = this->sample();
        TestFixture::Record::set(other, i, TestFixture::Record::kDefaults[i]);
        EXPECT_TRUE(other != *held) << "field " << i;
        EXPECT_FALSE(other == *held) << "field " << i;
    }
}

TYPED_TEST(ImageRecordTest, StartsACopyAtCountZero) {
    const Vq::Ptr<TypeParam> held = new TypeParam(this->sample());
    const Vq::Ptr<TypeParam> another(held);
    ASSERT_EQ(held->refCount(), 2);
    const TypeParam copy(*held);
    EXPECT_EQ(copy.refCount(), 0);
    EXPECT_EQ(held->refCount(), 2);
    const Vq::Ptr<TypeParam> heldCopy = new TypeParam(*held);
    EXPECT_EQ(heldCopy->refCount(), 1);
}

TYPED_TEST(ImageRecordTest, LeavesBothCountsAloneWhenAssigned) {
    const Vq::Ptr<TypeParam> source = new TypeParam(this->sample());
    const Vq::Ptr<TypeParam> target = new TypeParam;
    const Vq::Ptr<TypeParam> another(target);
    *target = *source;
    EXPECT_EQ(source->refCount(), 1);
    EXPECT_EQ(target->refCount(), 2);
    EXPECT_EQ(this->valuesOf(*target), TestFixture::Record::kSample);
    *target = TypeParam();
    EXPECT_EQ(target->refCount(), 2);
    EXPECT_EQ(this->valuesOf(*source), TestFixture::Record::kSample);
}

TYPED_TEST(ImageRecordTest, IsSharedThroughItsInterface) {
    const long blocks = platform().memory()->liveBlocks();
    {
        const Vq::Ptr<typename TestFixture::Interface> record = new TypeParam(this->sample());
        const Vq::Ptr<iObject> object(record);
        EXPECT_EQ(record.useCount(), 2);
        EXPECT_EQ(record->refCount(), 2);
        TestFixture::Record::set(*record, 0, TestFixture::Record::kDefaults[0]);
        EXPECT_EQ(this->valuesOf(*record)[0], TestFixture::Record::kDefaults[0]);
        EXPECT_EQ(platform().memory()->liveBlocks(), blocks + 1) << "record and count in one";
    }
    EXPECT_EQ(platform().memory()->liveBlocks(), blocks);
}

TYPED_TEST(ImageRecordTest, IsDestroyedWholeThroughItsInterfaceAndThroughItsRoot) {
    struct Marked : TypeParam {
        explicit Marked(int* ends) : ends_(ends) {}
        ~Marked() override { ++*ends_; }
        int* ends_;
    };
    int ends = 0;
    Vq::Ptr<typename TestFixture::Interface> record = new Marked(&ends);
    record.reset();
    EXPECT_EQ(ends, 1);
    Vq::Ptr<iObject> object = new Marked(&ends);
    object.reset();
    EXPECT_EQ(ends, 2);
}

// --- Layout. A pointer to a virtual function is one more than its offset in the table, that to
// another function its address.

template <class Member> unsigned long representationOf(Member member) {
    static_assert(sizeof member == 2 * sizeof(unsigned long));
    unsigned long words[2];
    std::memcpy(words, &member, sizeof words);
    EXPECT_EQ(words[1], 0u) << "no adjustment";
    return words[0];
}

/// Expects the functions in neighbouring slots, behind the two of the destructor.
template <class... Members> void expectInOrder(Members... members) {
    unsigned long slot = 2;
    for (const unsigned long representation : {representationOf(members)...}) {
        EXPECT_EQ(representation, slot * sizeof(void*) + 1) << "slot " << slot;
        ++slot;
    }
}

template <class Data> bool hasVirtualAsString() {
    return (representationOf(&Data::asString) & 1) != 0;
}

/// The bytes of a record, read as fields by their offset.
class RecordBytes {
public:
    template <class Data> explicit RecordBytes(const Data& record) : bytes_(sizeof record) {
        std::memcpy(bytes_.data(), static_cast<const void*>(&record), sizeof record);
    }
    template <class V> V at(std::size_t offset) const {
        V value;
        std::memcpy(&value, bytes_.data() + offset, sizeof value);
        return value;
    }

private:
    std::vector<unsigned char> bytes_;
};

class ImageRecordLayout : public ScriptedTest {};

template <class R> void expectCoreSlots() {
    expectInOrder(&R::getWidth, &R::getHeight, &R::setWidth, &R::setHeight, &R::getDataFormat,
                  &R::setDataFormat, &R::getBitsPerComponent, &R::setBitsPerComponent,
                  &R::getBitsPerPixel, &R::setBitsPerPixel, &R::getCoreDataSet, &R::setCoreDataSet);
}

TEST_F(ImageRecordLayout, OfCoreHasBothDimensionsGettersBeforeTheirSetters) {
    expectCoreSlots<Core::Interface>();
    expectCoreSlots<Core::Data>();
    EXPECT_FALSE(hasVirtualAsString<Core::Data>());
}

template <class R> void expectBufferFormatSlots() {
    expectInOrder(&R::getIsTopDown, &R::setIsTopDown, &R::getStride, &R::setStride,
                  &R::getStrideMultiplier, &R::setStrideMultiplier, &R::getBufferFormatDataSet,
                  &R::setBufferFormatDataSet);
}

TEST_F(ImageRecordLayout, OfBufferFormatHasAGetterAndASetterPerField) {
    expectBufferFormatSlots<BufferFormat::Interface>();
    expectBufferFormatSlots<BufferFormat::Data>();
    EXPECT_FALSE(hasVirtualAsString<BufferFormat::Data>());
}

template <class R> void expectVideoSlots() {
    expectInOrder(&R::getScanMode, &R::setScanMode, &R::getAspectRatio, &R::setAspectRatio,
                  &R::getVideoFormatUID, &R::setVideoFormatUID, &R::getVideoDataSet,
                  &R::setVideoDataSet);
}

TEST_F(ImageRecordLayout, OfVideoHasAGetterAndASetterPerField) {
    expectVideoSlots<Video::Interface>();
    expectVideoSlots<Video::Data>();
    EXPECT_FALSE(hasVirtualAsString<Video::Data>());
}

template <class R> void expectVideoSampleSlots() {
    expectInOrder(&R::getPolarity, &R::setPolarity, &R::getColorimetry, &R::setColorimetry,
                  &R::getGamutScaling, &R::setGamutScaling, &R::getVideoSampleDataSet,
                  &R::setVideoSampleDataSet);
}

TEST_F(ImageRecordLayout, OfVideoSampleHasAGetterAndASetterPerField) {
    expectVideoSampleSlots<VideoSample::Interface>();
    expectVideoSampleSlots<VideoSample::Data>();
    EXPECT_FALSE(hasVirtualAsString<VideoSample::Data>());
}

template <class R> void expectVideoSequenceSlots() {
    expectInOrder(&R::getFrameRate, &R::setFrameRate, &R::getVideoSequenceDataSet,
                  &R::setVideoSequenceDataSet);
}

TEST_F(ImageRecordLayout, OfVideoSequenceHasAGetterAndASetterPerField) {
    expectVideoSequenceSlots<VideoSequence::Interface>();
    expectVideoSequenceSlots<VideoSequence::Data>();
    EXPECT_FALSE(hasVirtualAsString<VideoSequence::Data>());
}

TEST_F(ImageRecordLayout, HasTheFieldsInOrderBehindTheTable) {
    const RecordBytes core(Core::Data(11, 12, Format(13), 14, 15, true));
    EXPECT_EQ(core.at<int>(8), 11);
    EXPECT_EQ(core.at<int>(12), 12);
    EXPECT_EQ(core.at<int>(16), 13);
    EXPECT_EQ(core.at<short>(20), 14);
    EXPECT_EQ(core.at<short>(22), 15);
    EXPECT_EQ(core.at<char>(24), 1);

    const RecordBytes buffer(BufferFormat::Data(true, 22, 23, true));
    EXPECT_EQ(buffer.at<char>(8), 1);
    EXPECT_EQ(buffer.at<int>(12), 22);
    EXPECT_EQ(buffer.at<short>(16), 23);
    EXPECT_EQ(buffer.at<char>(18), 1);

    const RecordBytes video(Video::Data(ScanMode(31), AspectRatio(32), 33, true));
    EXPECT_EQ(video.at<int>(8), 31);
    EXPECT_EQ(video.at<int>(12), 32);
    EXPECT_EQ(video.at<int>(16), 33);
    EXPECT_EQ(video.at<char>(20), 1);

    const RecordBytes sample(
        VideoSample::Data(Polarity(41), Colorimetry(42), GamutScaling(43), true));
    EXPECT_EQ(sample.at<int>(8), 41);
    EXPECT_EQ(sample.at<int>(12), 42);
    EXPECT_EQ(sample.at<int>(16), 43);
    EXPECT_EQ(sample.at<char>(20), 1);

    const RecordBytes sequence(VideoSequence::Data(Vq::FrameRate(51), true));
    EXPECT_EQ(sequence.at<int>(8), 51);
    EXPECT_EQ(sequence.at<char>(12), 1);
}

TEST_F(ImageRecordLayout, LetsADerivedClassAnswerForItselfButNotInTheText) {
    struct Half : Core::Data {
        using Core::Data::Data;
        unsigned int getWidth() const override { return Core::Data::getWidth() / 2; }
    };
    const Half half(1920, 1080, Format(7), 8, 24, true);
    const Core::Interface& record = half;
    EXPECT_EQ(record.getWidth(), 960u);
    EXPECT_EQ(half.asString(), "Metadata::Core,1,1920,1080,7,7,8,24,1,");
}

// --- The stride

template <class Stride>
concept CanBeStride = requires(Stride stride, unsigned short multiplier) {
    BufferFormat::Data{true, stride, multiplier, true};
};
static_assert(CanBeStride<unsigned short>);
static_assert(!CanBeStride<unsigned int>, "it would lose bits");

TEST(ImageBufferFormat, TakesTheStrideAs16BitsWhenMadeAnd32WhenSet) {
    const unsigned int stride = 65536 + 5;
    const unsigned short multiplier = 2;
    const auto record = std::make_unique<BufferFormat::Data>(true, stride, multiplier, true);
    EXPECT_EQ(record->getStride(), 5u);
    record->setStride(stride);
    EXPECT_EQ(record->getStride(), 65541u);
    EXPECT_EQ(BufferFormat::Data(true, 65535, 0, false).getStride(), 65535u) << "no sign";
}

// --- Constants

const LightweightString<char> startBatchEarly = kStartBatch;
const LightweightString<char> endBatchEarly = kEndBatch;
const double minusOneYearEarly = kMinusOneYearSeconds;

TEST(ImageConstants, AreTheWordsAroundABatchAndAYearInSeconds) {
    EXPECT_EQ(kStartBatch, "StartBatch");
    EXPECT_EQ(kEndBatch, "EndBatch");
    EXPECT_EQ(kMinusOneYearSeconds, -365.0 * 24 * 60 * 60);
}

TEST(ImageConstants, AreThereForTheProgramsOwnStaticObjects) {
    EXPECT_EQ(startBatchEarly, "StartBatch");
    EXPECT_EQ(endBatchEarly, "EndBatch");
    EXPECT_EQ(minusOneYearEarly, -31536000.0);
}

} // namespace
