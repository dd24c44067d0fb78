/// `VqIniFile`, an INI settings file in memory: sections of `name=value` lines, loaded, queried,
/// changed and saved.
///
///     VqIniFile settings(fromUTF8(LightweightString<char>("editor.ini")), true, false);
///     for (const Vq::AttribValuePair& pair : settings.getSection("Video")) use(pair);
///     settings["Video"].push_back(Vq::AttribValuePair("Height", "1080", '='));
///     if (!settings.saveAll({})) complain();
///
/// The form of a file: a line `[name]` starts a section, every other line that is not blank becomes
/// a pair of the current section, split at its first '='. Spaces at both ends of a line go; those
/// around the '=' belong to the name and the value. There are no comments as such: a comment line
/// is a pair, split like any other, that prints as it was read. Bytes that are not printable in the
/// current locale go from both ends of a line, but not from the start of the file; so LF and CRLF
/// files load alike. In the "C" and UTF-8 locales that takes a non-ASCII ending from a value.
///
/// Copies of a model share the texts of its lines. Repeated keys are all kept, in order; a section
/// that comes twice goes on, under the spelling that came first. Sections are ordered by name, not
/// as in the file. Nothing is escaped: a pair whose text holds a line break is two lines when it
/// comes back, and a section without a pair is written but does not come back.
///
/// Thread rule: compatible.
#pragma once

#include "Vq/AttribValuePair.h"
#include "Vq/LightweightString.h"
#include "Vq/Ptr.h"

#include <map>
#include <string_view>
#include <utility>
#include <vector>

class iFile;

namespace VqIniFile_Private {

/// The order of sections: by bytes, or without case as `strcasecmp` has it. In the "C" locale that
/// is the case of ASCII letters; elsewhere the locale says, and it must not change while a model
/// holds names whose order that would touch. Text counts up to its first zero byte. Compatible.
class VQ_EXPORT StringLT_Fancy {
public:
    /// By bytes when `caseSensitive`.
    explicit StringLT_Fancy(bool caseSensitive) noexcept : caseSensitive_(caseSensitive) {}
    /// Does `a` come before `b`?
    bool operator()(const LightweightString<char>& a,
                    const LightweightString<char>& b) const noexcept;

private:
    bool caseSensitive_;
};

class SectionFiller;

} // namespace VqIniFile_Private

/// The model. What its operations return by reference lives until the section is removed, or the
/// model assigned to or destroyed. Finding a section takes time in the logarithm of their number,
/// a pair in a section a walk over it.
///
/// \copydetails VqIniFile.h
class VQ_EXPORT VqIniFile {
public:
    using Section = std::vector<Vq::AttribValuePair>; ///< the pairs of a section, in their order
    /// Sections by their names, in the order of these.
    using SectionMap =
        std::map<LightweightString<char>, Section, VqIniFile_Private::StringLT_Fancy>;

    /// A walk over the sections, in their order. Using one that is not `valid()`, other than asking
    /// whether it is, throws a `Vq::Exception::RuntimeError`. It stays usable while its section
    /// stands. Compatible, as the model is.
    class VQ_EXPORT SectionIterator {
    public:
        /// Not valid.
        SectionIterator() noexcept = default;
        /// At `current`, which is valid unless it is `end`.
        SectionIterator(SectionMap::iterator current, SectionMap::iterator end) noexcept
            : current_(current), end_(end) {}

        /// Is there a section here?
        bool valid() noexcept;
        LightweightString<char> name();  ///< the section's name, shared
        Section& operator*();            ///< its pairs, for changing too
        SectionIterator& operator++();   ///< goes to the next; behind the last it is not valid
        SectionIterator operator++(int); ///< likewise, and returns where it was

    private:
        SectionMap::iterator current_;
        SectionMap::iterator end_;
    };

    /// The same over a model that is not to be changed. Compatible.
    class VQ_EXPORT ConstSectionIterator {
    public:
        /// Not valid.
        ConstSectionIterator() noexcept = default;
        /// At `current`, which is valid unless it is `end`.
        ConstSectionIterator(SectionMap::const_iterator current,
                             SectionMap::const_iterator end) noexcept
            : current_(current), end_(end) {}

        bool valid() noexcept;                ///< is there a section here?
        LightweightString<char> name();       ///< the section's name, shared
        const Section& operator*();           ///< its pairs
        ConstSectionIterator& operator++();   ///< goes to the next; behind the last it is not valid
        ConstSectionIterator operator++(int); ///< likewise, and returns where it was

    private:
        SectionMap::const_iterator current_;
        SectionMap::const_iterator end_;
    };

    /// An empty model without a path. `caseSensitive` is about section names; only assigning a
    /// whole model changes it later.
    explicit VqIniFile(bool caseSensitive);

    /// A model with a path, loaded from it at once when `loadNow`, with lines ended by `'\n'`.
    /// Whether that worked is not told: a file that cannot be read leaves the model empty.
    VqIniFile(const LightweightString<wchar_t>& path, bool loadNow, bool caseSensitive);

    ~VqIniFile();

    /// A model of its own, which shares the texts of its lines with the other.
    VqIniFile(const VqIniFile&) = default;

    /// Takes over path, case sensitivity and sections. When memory runs out, the model is as it
    /// was.
    VqIniFile& operator=(const VqIniFile& other) {
        VqIniFile copy(other);
        std::swap(path_, copy.path_);
        std::swap(caseSensitive_, copy.caseSensitive_);
        sections_.swap(copy.sections_);
        return *this;
    }

    /// Adds the content of a file to the model, which is not cleared first. A `path` that is not
    /// empty becomes the model's own; an empty one stands for it. True when the file was read;
    /// false when there is no path, or the file cannot be opened or read, is empty, or is of 4 GiB
    /// or more. No line is ever rejected. When memory runs out, the exception leaves the model as
    /// it was.
    bool load(LightweightString<wchar_t> path, char lineSeparator);

    /// Writes the model with CRLF line ends: the anonymous section without a header, then every
    /// section in order under its `[name]`, with a blank line between two, unless the name of the
    /// first of them is empty or all spaces. `path` as for `load`, but whether an empty one will do
    /// is for the platform to say. False when the file could not be opened; the results of the
    /// writes are not looked at.
    ///
    /// **Does not return when the model holds the anonymous section**: the walk stops for good
    /// where that section stands in the order. A comment or a byte-order mark before the first
    /// header is enough to make one. Use `saveAll` instead.
    bool save(LightweightString<wchar_t> path);

    /// Writes what `save` writes, but steps past the anonymous section in the walk. True only when
    /// the file was opened, every write succeeded and so did the file's `commit()`; otherwise the
    /// platform of libOS leaves the old file as it was, with few exceptions that its header names.
    bool saveAll(LightweightString<wchar_t> path);

    /// @{
    /// The section of that name, made empty when it is missing; such a section is saved.
    Section& getSection(const LightweightString<char>& name);
    Section& operator[](const LightweightString<char>& name);
    /// @}

    /// @{
    /// The section of that name, or one shared empty vector when it is missing.
    const Section& getSection(const LightweightString<char>& name) const;
    const Section& operator[](const LightweightString<char>& name) const;
    /// @}

    /// Is there a section of that name? Makes none.
    bool sectionExists(const LightweightString<char>& name) const;

    /// Removes the section, if there is one.
    void removeSection(const LightweightString<char>& name);

    /// Sections, the anonymous one included.
    unsigned int getNumSections() const;

    /// Are section names that differ in case two sections?
    bool getSectionNameCaseSensitivity() const;

    /// @{
    /// A walk from the first section, not valid when there is none.
    SectionIterator getSectionIterator();
    ConstSectionIterator getSectionIterator() const;
    /// @}

    /// @{
    /// Names and sections, the anonymous one included, for range-for and the algorithms:
    /// `for (const auto& [name, section] : settings)`.
    SectionMap::iterator begin() noexcept { return sections_.begin(); }
    SectionMap::iterator end() noexcept { return sections_.end(); }
    SectionMap::const_iterator begin() const noexcept { return sections_.begin(); }
    SectionMap::const_iterator end() const noexcept { return sections_.end(); }
    /// @}

    /// The name under which keys before the first header are kept: an ordinary section otherwise.
    static const LightweightString<char>& kAnonymousSection();

    /// @{
    /// The first pair whose name begins with `prefix`, or the section's end. An empty prefix finds
    /// the first pair. `from` is **not** looked at: the search always starts at the beginning.
    static Section::iterator findBeginsWith(const LightweightString<char>& prefix, Section& section,
                                            bool caseSensitive, Section::iterator from);
    static Section::const_iterator findBeginsWith(const LightweightString<char>& prefix,
                                                  const Section& section, bool caseSensitive,
                                                  Section::const_iterator from);
    /// @}

    /// @{
    /// Not there yet: **always throws** a `Vq::Exception::LogicError`.
    static Section::iterator findContains(const LightweightString<char>& text, Section& section,
                                          bool caseSensitive, Section::iterator from);
    static Section::const_iterator findContains(const LightweightString<char>& text,
                                                const Section& section, bool caseSensitive,
                                                Section::const_iterator from);
    /// @}

private:
    enum class AtAnonymous { kStayForever, kStepPast };

    template <class Action> bool withPath(const LightweightString<wchar_t>& path, Action action);
    bool loadFrom(const LightweightString<wchar_t>& path, char lineSeparator);
    void absorb(SectionMap& added);
    Vq::Ptr<iFile> write(AtAnonymous atAnonymous, bool& allWritten) const;

    LightweightString<wchar_t> path_;
    bool caseSensitive_;
    SectionMap sections_;
};

/// The sink of a load: every line assigned to it is sorted into the map, under the section that the
/// last header line named. The map is borrowed. Thread rule: compatible.
class VQ_EXPORT SectionsBuildingOutputIterator {
public:
    /// Starts in the anonymous section.
    explicit SectionsBuildingOutputIterator(VqIniFile::SectionMap* sections);

    /// Takes one line: blank ones are ignored, `[name]` changes the section (and adds nothing),
    /// everything else is appended to the current section as a pair. A header without pairs thus
    /// makes no section. When memory runs out, the line is lost and everything else as it was.
    SectionsBuildingOutputIterator& operator=(LightweightString<char> line);

    /// @{
    /// A sink of its own into the same map, at the same section.
    SectionsBuildingOutputIterator(const SectionsBuildingOutputIterator&) = default;
    SectionsBuildingOutputIterator& operator=(const SectionsBuildingOutputIterator&) = default;
    /// @}

private:
    friend class VqIniFile_Private::SectionFiller;

    VqIniFile::SectionMap* sections_;
    LightweightString<char> section_;
};

namespace Vq::StringManip {

/// How many of the `size` bytes at `bytes` are left when those at the end that are not printable in
/// the current locale are dropped.
VQ_EXPORT unsigned long lengthWithoutUnprintableEnd(const char* bytes, unsigned long size);

/// How many of the `size` bytes at `bytes` come before the first that is printable or `separator`.
VQ_EXPORT unsigned long countUnprintable(const char* bytes, unsigned long size, char separator);

/// Cuts a buffer into lines, assigns each to `out` as a narrow string and returns their number,
/// empty lines included. Bytes that are not printable in the current locale are dropped from the
/// end of every line, and from the start of every line but the first. A separator that is itself
/// printable stays at the end of its line. Behind the last separator there is a line only if
/// something is left.
template <class Sink>
VQ_EXPORT unsigned long splitBuffer(Sink out, const char* buffer, unsigned long size,
                                    char separator) {
    unsigned long lines = 0;
    unsigned long start = 0;
    while (start < size) {
        const std::string_view rest(buffer + start, size - start);
        const unsigned long found = rest.find(separator);
        const unsigned long next = found == rest.npos ? rest.size() : found + 1;
        out =
            LightweightString<char>(rest.substr(0, lengthWithoutUnprintableEnd(rest.data(), next)));
        ++lines;
        start += next;
        start += countUnprintable(buffer + start, size - start, separator);
    }
    return lines;
}

/// The same, where it looks a section up once per header and makes no string that the map does not
/// keep.
template <>
VQ_EXPORT unsigned long splitBuffer(SectionsBuildingOutputIterator out, const char* buffer,
                                    unsigned long size, char separator);

} // namespace Vq::StringManip
