/// Records that describe an image or a video stream, with a one-line text form.
///
///     Vq::Image::Core::Data core(1920, 1080, Vq::Image::kPlanar, 8, 24, true);
///     core.asString();      // "Metadata::Core,1,1920,1080,7,7,8,24,1,"
///     Vq::Image::Core::Data same(core.asString());
///
/// There are five: `Core` (size and pixel format), `BufferFormat` (layout in memory), `Video`
/// (scan, aspect, identifier), `VideoSample` (polarity, colorimetry, gamut) and `VideoSequence`
/// (frame rate). Each is a namespace with the abstract `Interface`, which can be held by `Vq::Ptr`,
/// the plain `Fields` with their defaults, and `Data`, which has both. The `...DataSet` flag says
/// whether somebody filled the record in; nothing here sets it by itself.
///
/// The text form is the record's tag, the version 1 and every field as a decimal number, each with
/// a comma behind it. `Core` has its format twice, and the second is not read. Reading is all or
/// nothing: a text of another tag, version or number of items gives the record with its defaults,
/// without an error. Of each item the number at its start counts, 0 if there is none, the nearest
/// `long` if it is beyond, cut to the width of its field; a flag is set when its number is not 0.
///
/// Setters and constructors store what they are given, unchecked. Copying and comparing records is
/// about their fields and never about their reference counts. Reading or writing a text throws for
/// want of memory; nothing else throws.
///
/// Thread rule: compatible.
#pragma once

#include "Vq/LightweightString.h"
#include "Vq/RefCount.h"
#include "Vq/detail/Export.h"

namespace Vq {

/// The application's own header defines the enumerators of this and of those below, in the same
/// namespace and with the same underlying type:
/// `namespace Vq::Image { enum Format : int { kPlanar = 7 }; }`
enum VQ_EXPORT FrameRate : int;

namespace Image {

/// @{
/// As `FrameRate`: the enumerators are the application's.
enum VQ_EXPORT Format : int;
enum VQ_EXPORT ScanMode : int;
enum VQ_EXPORT AspectRatio : int;
enum VQ_EXPORT Polarity : int;
enum VQ_EXPORT Colorimetry : int;
enum VQ_EXPORT GamutScaling : int;
/// @}

/// @{
/// What applications write around a batch of records: "StartBatch" and "EndBatch".
VQ_EXPORT extern const LightweightString<char> kStartBatch;
VQ_EXPORT extern const LightweightString<char> kEndBatch;
/// @}
/// 365 days, in seconds, backwards.
VQ_EXPORT extern const double kMinusOneYearSeconds;

/// Size and pixel format.
namespace Core {

/// A getter and a setter for each of the `Fields`, plain reads and writes that throw nothing.
/// Compatible.
class VQ_EXPORT Interface : public virtual iObject {
public:
    ~Interface() override = default;

    virtual unsigned int getWidth() const = 0;              ///< pixels in a line
    virtual unsigned int getHeight() const = 0;             ///< lines of pixels
    virtual void setWidth(unsigned int width) = 0;          ///< pixels in a line
    virtual void setHeight(unsigned int height) = 0;        ///< lines of pixels
    virtual Format getDataFormat() const = 0;               ///< the pixel format's code
    virtual void setDataFormat(Format dataFormat) = 0;      ///< the pixel format's code
    virtual unsigned short getBitsPerComponent() const = 0; ///< bits of one sample
    virtual void setBitsPerComponent(unsigned short bitsPerComponent) = 0; ///< bits of one sample
    virtual unsigned short getBitsPerPixel() const = 0;            ///< bits of a whole pixel
    virtual void setBitsPerPixel(unsigned short bitsPerPixel) = 0; ///< bits of a whole pixel
    virtual bool getCoreDataSet() const = 0;                       ///< was the record filled in?
    virtual void setCoreDataSet(bool set) = 0;                     ///< says so; nothing else does

protected:
    Interface() = default;                            ///< for the records
    Interface(const Interface&) = default;            ///< for the records
    Interface& operator=(const Interface&) = default; ///< for the records
};

/// What a record holds, with its defaults.
struct Fields {
    unsigned int width = 0;              ///< pixels in a line
    unsigned int height = 0;             ///< lines of pixels
    Format dataFormat = Format(-1);      ///< the pixel format's code; -1 is none
    unsigned short bitsPerComponent = 0; ///< bits of one sample
    unsigned short bitsPerPixel = 0;     ///< bits of a whole pixel
    bool set = false;                    ///< the flag: was the record filled in?

    bool operator==(const Fields&) const = default; ///< are all fields equal?
};

/// The record itself: a plain value, which a handle may hold too. Compatible; of its text form, and
/// of what is not checked, ImageMetadata.h tells.
class VQ_EXPORT Data : public Interface {
public:
    /// The defaults.
    Data();
    /// Exactly these values.
    Data(unsigned int width, unsigned int height, Format dataFormat,
         unsigned short bitsPerComponent, unsigned short bitsPerPixel, bool set);
    /// What `text` says, the defaults when it is no text of this record.
    Data(const LightweightString<char>& text);
    Data(const Data&);            ///< the same fields, with a count of its own
    Data& operator=(const Data&); ///< takes over the fields, not the count
    ~Data() override;

    unsigned int getWidth() const override { return fields_.width; }
    unsigned int getHeight() const override { return fields_.height; }
    void setWidth(unsigned int width) override { fields_.width = width; }
    void setHeight(unsigned int height) override { fields_.height = height; }
    Format getDataFormat() const override { return fields_.dataFormat; }
    void setDataFormat(Format dataFormat) override { fields_.dataFormat = dataFormat; }
    unsigned short getBitsPerComponent() const override { return fields_.bitsPerComponent; }
    void setBitsPerComponent(unsigned short bitsPerComponent) override {
        fields_.bitsPerComponent = bitsPerComponent;
    }
    unsigned short getBitsPerPixel() const override { return fields_.bitsPerPixel; }
    void setBitsPerPixel(unsigned short bitsPerPixel) override {
        fields_.bitsPerPixel = bitsPerPixel;
    }
    bool getCoreDataSet() const override { return fields_.set; }
    void setCoreDataSet(bool set) override { fields_.set = set; }

    /// Are all fields equal, the flag among them?
    bool operator==(const Data& other) const { return fields_ == other.fields_; }

    /// The text form, in one allocation.
    LightweightString<char> asString() const;

private:
    Fields fields_;
};

} // namespace Core

/// Layout of a frame buffer.
namespace BufferFormat {

/// A getter and a setter for each of the `Fields`, plain reads and writes that throw nothing.
/// Compatible.
class VQ_EXPORT Interface : public virtual iObject {
public:
    ~Interface() override = default;

    virtual bool getIsTopDown() const = 0;                  ///< is the first line the top one?
    virtual void setIsTopDown(bool isTopDown) = 0;          ///< true: the first line is the top one
    virtual unsigned int getStride() const = 0;             ///< from one line to the next
    virtual void setStride(unsigned int stride) = 0;        ///< from one line to the next
    virtual unsigned short getStrideMultiplier() const = 0; ///< goes with the stride
    virtual void setStrideMultiplier(unsigned short strideMultiplier) = 0; ///< goes with the stride
    virtual bool getBufferFormatDataSet() const = 0;   ///< was the record filled in?
    virtual void setBufferFormatDataSet(bool set) = 0; ///< says so; nothing else does

protected:
    Interface() = default;                            ///< for the records
    Interface(const Interface&) = default;            ///< for the records
    Interface& operator=(const Interface&) = default; ///< for the records
};

/// What a record holds, with its defaults.
struct Fields {
    bool isTopDown = true;               ///< is the first line the top one?
    unsigned int stride = 0;             ///< from one line to the next
    unsigned short strideMultiplier = 0; ///< goes with the stride
    bool set = false;                    ///< the flag: was the record filled in?

    bool operator==(const Fields&) const = default; ///< are all fields equal?
};

/// The record itself: a plain value, which a handle may hold too. Compatible; of its text form, and
/// of what is not checked, ImageMetadata.h tells.
class VQ_EXPORT Data : public Interface {
public:
    /// The defaults.
    Data();
    /// Exactly these values. The stride is taken as 16 bits here, although the field has 32: set a
    /// larger one with `setStride`.
    Data(bool isTopDown, unsigned short stride, unsigned short strideMultiplier, bool set);
    /// What `text` says, the defaults when it is no text of this record.
    Data(const LightweightString<char>& text);
    Data(const Data&);            ///< the same fields, with a count of its own
    Data& operator=(const Data&); ///< takes over the fields, not the count
    ~Data() override;

    bool getIsTopDown() const override { return fields_.isTopDown; }
    void setIsTopDown(bool isTopDown) override { fields_.isTopDown = isTopDown; }
    unsigned int getStride() const override { return fields_.stride; }
    void setStride(unsigned int stride) override { fields_.stride = stride; }
    unsigned short getStrideMultiplier() const override { return fields_.strideMultiplier; }
    void setStrideMultiplier(unsigned short strideMultiplier) override {
        fields_.strideMultiplier = strideMultiplier;
    }
    bool getBufferFormatDataSet() const override { return fields_.set; }
    void setBufferFormatDataSet(bool set) override { fields_.set = set; }

    /// Are all fields equal, the flag among them?
    bool operator==(const Data& other) const { return fields_ == other.fields_; }

    /// The text form, in one allocation.
    LightweightString<char> asString() const;

private:
    Fields fields_;
};

} // namespace BufferFormat

/// Scanning and aspect.
namespace Video {

/// A getter and a setter for each of the `Fields`, plain reads and writes that throw nothing.
/// Compatible.
class VQ_EXPORT Interface : public virtual iObject {
public:
    ~Interface() override = default;

    virtual ScanMode getScanMode() const = 0;                        ///< the scan mode's code
    virtual void setScanMode(ScanMode scanMode) = 0;                 ///< the scan mode's code
    virtual AspectRatio getAspectRatio() const = 0;                  ///< the aspect ratio's code
    virtual void setAspectRatio(AspectRatio aspectRatio) = 0;        ///< the aspect ratio's code
    virtual unsigned int getVideoFormatUID() const = 0;              ///< the video format's number
    virtual void setVideoFormatUID(unsigned int videoFormatUID) = 0; ///< the video format's number
    virtual bool getVideoDataSet() const = 0;                        ///< was the record filled in?
    virtual void setVideoDataSet(bool set) = 0;                      ///< says so; nothing else does

protected:
    Interface() = default;                            ///< for the records
    Interface(const Interface&) = default;            ///< for the records
    Interface& operator=(const Interface&) = default; ///< for the records
};

/// What a record holds, with its defaults.
struct Fields {
    ScanMode scanMode = ScanMode(0);          ///< the scan mode's code
    AspectRatio aspectRatio = AspectRatio(0); ///< the aspect ratio's code
    unsigned int videoFormatUID = 0;          ///< the video format's number
    bool set = false;                         ///< the flag: was the record filled in?

    bool operator==(const Fields&) const = default; ///< are all fields equal?
};

/// The record itself: a plain value, which a handle may hold too. Compatible; of its text form, and
/// of what is not checked, ImageMetadata.h tells.
class VQ_EXPORT Data : public Interface {
public:
    /// The defaults.
    Data();
    /// Exactly these values.
    Data(ScanMode scanMode, AspectRatio aspectRatio, unsigned int videoFormatUID, bool set);
    /// What `text` says, the defaults when it is no text of this record.
    Data(const LightweightString<char>& text);
    Data(const Data&);            ///< the same fields, with a count of its own
    Data& operator=(const Data&); ///< takes over the fields, not the count
    ~Data() override;

    ScanMode getScanMode() const override { return fields_.scanMode; }
    void setScanMode(ScanMode scanMode) override { fields_.scanMode = scanMode; }
    AspectRatio getAspectRatio() const override { return fields_.aspectRatio; }
    void setAspectRatio(AspectRatio aspectRatio) override { fields_.aspectRatio = aspectRatio; }
    unsigned int getVideoFormatUID() const override { return fields_.videoFormatUID; }
    void setVideoFormatUID(unsigned int videoFormatUID) override {
        fields_.videoFormatUID = videoFormatUID;
    }
    bool getVideoDataSet() const override { return fields_.set; }
    void setVideoDataSet(bool set) override { fields_.set = set; }

    /// Are all fields equal, the flag among them?
    bool operator==(const Data& other) const { return fields_ == other.fields_; }

    /// The text form, in one allocation.
    LightweightString<char> asString() const;

private:
    Fields fields_;
};

} // namespace Video

/// Meaning of the samples.
namespace VideoSample {

/// A getter and a setter for each of the `Fields`, plain reads and writes that throw nothing.
/// Compatible.
class VQ_EXPORT Interface : public virtual iObject {
public:
    ~Interface() override = default;

    virtual Polarity getPolarity() const = 0;                    ///< the polarity's code
    virtual void setPolarity(Polarity polarity) = 0;             ///< the polarity's code
    virtual Colorimetry getColorimetry() const = 0;              ///< the colorimetry's code
    virtual void setColorimetry(Colorimetry colorimetry) = 0;    ///< the colorimetry's code
    virtual GamutScaling getGamutScaling() const = 0;            ///< the gamut scaling's code
    virtual void setGamutScaling(GamutScaling gamutScaling) = 0; ///< the gamut scaling's code
    virtual bool getVideoSampleDataSet() const = 0;              ///< was the record filled in?
    virtual void setVideoSampleDataSet(bool set) = 0;            ///< says so; nothing else does

protected:
    Interface() = default;                            ///< for the records
    Interface(const Interface&) = default;            ///< for the records
    Interface& operator=(const Interface&) = default; ///< for the records
};

/// What a record holds, with its defaults.
struct Fields {
    Polarity polarity = Polarity(0);             ///< the polarity's code
    Colorimetry colorimetry = Colorimetry(0);    ///< the colorimetry's code
    GamutScaling gamutScaling = GamutScaling(0); ///< the gamut scaling's code
    bool set = false;                            ///< the flag: was the record filled in?

    bool operator==(const Fields&) const = default; ///< are all fields equal?
};

/// The record itself: a plain value, which a handle may hold too. Compatible; of its text form, and
/// of what is not checked, ImageMetadata.h tells.
class VQ_EXPORT Data : public Interface {
public:
    /// The defaults.
    Data();
    /// Exactly these values.
    Data(Polarity polarity, Colorimetry colorimetry, GamutScaling gamutScaling, bool set);
    /// What `text` says, the defaults when it is no text of this record.
    Data(const LightweightString<char>& text);
    Data(const Data&);            ///< the same fields, with a count of its own
    Data& operator=(const Data&); ///< takes over the fields, not the count
    ~Data() override;

    Polarity getPolarity() const override { return fields_.polarity; }
    void setPolarity(Polarity polarity) override { fields_.polarity = polarity; }
    Colorimetry getColorimetry() const override { return fields_.colorimetry; }
    void setColorimetry(Colorimetry colorimetry) override { fields_.colorimetry = colorimetry; }
    GamutScaling getGamutScaling() const override { return fields_.gamutScaling; }
    void setGamutScaling(GamutScaling gamutScaling) override {
        fields_.gamutScaling = gamutScaling;
    }
    bool getVideoSampleDataSet() const override { return fields_.set; }
    void setVideoSampleDataSet(bool set) override { fields_.set = set; }

    /// Are all fields equal, the flag among them?
    bool operator==(const Data& other) const { return fields_ == other.fields_; }

    /// The text form, in one allocation.
    LightweightString<char> asString() const;

private:
    Fields fields_;
};

} // namespace VideoSample

/// Frames in time.
namespace VideoSequence {

/// A getter and a setter for each of the `Fields`, plain reads and writes that throw nothing.
/// Compatible.
class VQ_EXPORT Interface : public virtual iObject {
public:
    ~Interface() override = default;

    virtual FrameRate getFrameRate() const = 0;         ///< the frame rate's code
    virtual void setFrameRate(FrameRate frameRate) = 0; ///< the frame rate's code
    virtual bool getVideoSequenceDataSet() const = 0;   ///< was the record filled in?
    virtual void setVideoSequenceDataSet(bool set) = 0; ///< says so; nothing else does

protected:
    Interface() = default;                            ///< for the records
    Interface(const Interface&) = default;            ///< for the records
    Interface& operator=(const Interface&) = default; ///< for the records
};

/// What a record holds, with its defaults.
struct Fields {
    FrameRate frameRate = FrameRate(0); ///< the frame rate's code
    bool set = false;                   ///< the flag: was the record filled in?

    bool operator==(const Fields&) const = default; ///< are all fields equal?
};

/// The record itself: a plain value, which a handle may hold too. Compatible; of its text form, and
/// of what is not checked, ImageMetadata.h tells.
class VQ_EXPORT Data : public Interface {
public:
    /// The defaults.
    Data();
    /// Exactly these values.
    Data(FrameRate frameRate, bool set);
    /// What `text` says, the defaults when it is no text of this record.
    Data(const LightweightString<char>& text);
    Data(const Data&);            ///< the same fields, with a count of its own
    Data& operator=(const Data&); ///< takes over the fields, not the count
    ~Data() override;

    FrameRate getFrameRate() const override { return fields_.frameRate; }
    void setFrameRate(FrameRate frameRate) override { fields_.frameRate = frameRate; }
    bool getVideoSequenceDataSet() const override { return fields_.set; }
    void setVideoSequenceDataSet(bool set) override { fields_.set = set; }

    /// Are all fields equal, the flag among them?
    bool operator==(const Data& other) const { return fields_ == other.fields_; }

    /// The text form, in one allocation.
    LightweightString<char> asString() const;

private:
    Fields fields_;
};

} // namespace VideoSequence

} // namespace Image
} // namespace Vq
