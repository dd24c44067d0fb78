#include "Vq/VqIniFile.h"

#include "Vq/Platform.h"
#include "Vq/String.h"
#include "Vq/VqCheck.h"
#include "Vq/detail/Everlasting.h"
#include "Vq/detail/PairText.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <memory>
#include <utility>

#include <ctype.h>
#include <strings.h>

#include <cstring>

using Narrow = LightweightString<char>;
using Wide = LightweightString<wchar_t>;
using Vq::AttribValuePair;
using Vq::detail::Everlasting;
using Vq::detail::PairText;

bool VqIniFile_Private::StringLT_Fancy::operator()(const Narrow& a,
                                                   const Narrow& b) const noexcept {
    return (caseSensitive_ ? std::strcmp(a.c_str(), b.c_str()) : strcasecmp(a.c_str(), b.c_str())) <
           0;
}

// --- The model. What all models share outlives them: a model may be used by the destructor of any
// static object.

namespace {

constexpr char kAnonymousText[] = "@@@ANONYMOUS_SECTION_RESERVED_NAME@@@";

Narrow& anonymousName() {
    static Everlasting<Narrow> name;
    return name.get();
}

// Makes the name, and releases it at exit.
struct AnonymousName {
    AnonymousName() { anonymousName() = Narrow(kAnonymousText); }
    ~AnonymousName() { anonymousName() = Narrow(); }
};

} // namespace

const Narrow& VqIniFile::kAnonymousSection() {
    static const AnonymousName held;
    // Empty again once it was released: whoever asks after that has the process to itself.
    if (anonymousName().empty()) anonymousName() = Narrow(kAnonymousText);
    return anonymousName();
}

VqIniFile::VqIniFile(bool caseSensitive)
    : caseSensitive_(caseSensitive), sections_(VqIniFile_Private::StringLT_Fancy(caseSensitive)) {}

VqIniFile::VqIniFile(const Wide& path, bool loadNow, bool caseSensitive)
    : VqIniFile(caseSensitive) {
    path_ = path;
    if (loadNow) load(Wide(), '\n');
}

VqIniFile::~VqIniFile() = default;

VqIniFile::Section& VqIniFile::getSection(const Narrow& name) {
    return sections_[name];
}

const VqIniFile::Section& VqIniFile::getSection(const Narrow& name) const {
    static Everlasting<Section> everlasting;
    const Section& empty = everlasting.get();
    const auto found = sections_.find(name);
    return found == sections_.end() ? empty : found->second;
}

VqIniFile::Section& VqIniFile::operator[](const Narrow& name) {
    return getSection(name);
}

const VqIniFile::Section& VqIniFile::operator[](const Narrow& name) const {
    return getSection(name);
}

bool VqIniFile::sectionExists(const Narrow& name) const {
    return sections_.find(name) != sections_.end();
}

void VqIniFile::removeSection(const Narrow& name) {
    sections_.erase(name);
}

unsigned int VqIniFile::getNumSections() const {
    return static_cast<unsigned int>(sections_.size());
}

bool VqIniFile::getSectionNameCaseSensitivity() const {
    return caseSensitive_;
}

VqIniFile::SectionIterator VqIniFile::getSectionIterator() {
    return {sections_.begin(), sections_.end()};
}

VqIniFile::ConstSectionIterator VqIniFile::getSectionIterator() const {
    return {sections_.begin(), sections_.end()};
}

// --- Walking

namespace {

constexpr const char* kSourceFile = "ole/Vq/VqIniFile";

// Lines name the failing operation to whoever reads them in a log, so each has its own.
void requireDereferenceable(bool valid, int line) {
    if (!valid) {
        throw Vq::Exception::RuntimeError("Attempted to dereference invalid iterator", kSourceFile,
                                          line);
    }
}

void requireMovable(bool valid, int line) {
    if (!valid) {
        throw Vq::Exception::RuntimeError("Attempted to manipulate invalid iterator", kSourceFile,
                                          line);
    }
}

} // namespace

bool VqIniFile::SectionIterator::valid() noexcept {
    return current_ != end_;
}

Narrow VqIniFile::SectionIterator::name() {
    requireDereferenceable(valid(), 418);
    return current_->first;
}

VqIniFile::Section& VqIniFile::SectionIterator::operator*() {
    requireDereferenceable(valid(), 429);
    return current_->second;
}

VqIniFile::SectionIterator& VqIniFile::SectionIterator::operator++() {
    requireMovable(valid(), 439);
    ++current_;
    return *this;
}

VqIniFile::SectionIterator VqIniFile::SectionIterator::operator++(int) {
    requireMovable(valid(), 451);
    return {current_++, end_};
}

bool VqIniFile::ConstSectionIterator::valid() noexcept {
    return current_ != end_;
}

Narrow VqIniFile::ConstSectionIterator::name() {
    requireDereferenceable(valid(), 485);
    return current_->first;
}

const VqIniFile::Section& VqIniFile::ConstSectionIterator::operator*() {
    requireDereferenceable(valid(), 496);
    return current_->second;
}

VqIniFile::ConstSectionIterator& VqIniFile::ConstSectionIterator::operator++() {
    requireMovable(valid(), 506);
    ++current_;
    return *this;
}

VqIniFile::ConstSectionIterator VqIniFile::ConstSectionIterator::operator++(int) {
    requireMovable(valid(), 518);
    return {current_++, end_};
}

// --- Finding

namespace {

// As `strncmp(name, prefix, prefix.length()) == 0` says for each name.
class Prefix {
public:
    explicit Prefix(const Narrow& prefix) : compared_(prefix) {
        // A comparison ends with the first zero character, which must be the name's end then.
        const std::size_t zero = compared_.find('\0');
        if (zero != compared_.npos) compared_ = compared_.substr(0, zero + 1);
    }

    bool begins(const Narrow& name) const {
        // The terminator may be what is compared last.
        return compared_.size() <= std::size_t{name.length()} + 1 &&
               std::memcmp(name.c_str(), compared_.data(), compared_.size()) == 0;
    }

private:
    std::string_view compared_;
};

template <class Iterator>
Iterator firstWithPrefix(Iterator begin, Iterator end, const Narrow& prefix, bool caseSensitive) {
    if (caseSensitive) {
        const Prefix sought(prefix);
        return std::find_if(
            begin, end, [&](const AttribValuePair& pair) { return sought.begins(pair.name()); });
    }
    return std::find_if(begin, end, [&](const AttribValuePair& pair) {
        return strncasecmp(pair.name().c_str(), prefix.c_str(), prefix.length()) == 0;
    });
}

} // namespace

VqIniFile::Section::iterator VqIniFile::findBeginsWith(const Narrow& prefix, Section& section,
                                                       bool caseSensitive,
                                                       Section::iterator /*from*/) {
    return firstWithPrefix(section.begin(), section.end(), prefix, caseSensitive);
}

VqIniFile::Section::const_iterator VqIniFile::findBeginsWith(const Narrow& prefix,
                                                             const Section& section,
                                                             bool caseSensitive,
                                                             Section::const_iterator /*from*/) {
    return firstWithPrefix(section.begin(), section.end(), prefix, caseSensitive);
}

VqIniFile::Section::iterator VqIniFile::findContains(const Narrow& /*text*/, Section& /*section*/,
                                                     bool /*caseSensitive*/,
                                                     Section::iterator /*from*/) {
    throw Vq::Exception::LogicError("Not implemented yet!", kSourceFile, 308);
}

VqIniFile::Section::const_iterator VqIniFile::findContains(const Narrow& /*text*/,
                                                           const Section& /*section*/,
                                                           bool /*caseSensitive*/,
                                                           Section::const_iterator /*from*/) {
    throw Vq::Exception::LogicError("Not implemented yet!", kSourceFile, 317);
}

// --- Loading

namespace {

// `isprint` in the current locale, which is asked for once.
class Printable {
public:
    bool operator()(char c) const {
        return (classes_[static_cast<unsigned char>(c)] & _ISprint) != 0;
    }

private:
    const unsigned short* classes_ = *__ctype_b_loc();
};

std::string_view withoutUnprintableEnd(std::string_view bytes, Printable isPrintable) {
    while (!bytes.empty() && !isPrintable(bytes.back())) bytes.remove_suffix(1);
    return bytes;
}

// How many come before the first that is printable or `separator`.
std::size_t unprintableStart(std::string_view bytes, char separator, Printable isPrintable) {
    std::size_t count = 0;
    while (count < bytes.size() && bytes[count] != separator && !isPrintable(bytes[count])) ++count;
    return count;
}

} // namespace

unsigned long Vq::StringManip::lengthWithoutUnprintableEnd(const char* bytes, unsigned long size) {
    return withoutUnprintableEnd({bytes, size}, Printable()).size();
}

unsigned long Vq::StringManip::countUnprintable(const char* bytes, unsigned long size,
                                                char separator) {
    return unprintableStart({bytes, size}, separator, Printable());
}

namespace {

// Without the spaces at both ends; nothing of a line that is blank.
std::string_view trimmed(std::string_view line) {
    const std::size_t first = line.find_first_not_of(' ');
    if (first == line.npos) return {};
    return line.substr(first, line.find_last_not_of(' ') + 1 - first);
}

bool isHeader(std::string_view trimmedLine) {
    return trimmedLine.size() >= 2 && trimmedLine.front() == '[' && trimmedLine.back() == ']';
}

std::string_view nameIn(std::string_view header) {
    return header.substr(1, header.size() - 2);
}

// A missing section comes with its first pair, so that it is never there without one. It gets room
// for as many as `countPairs` says that it will have.
template <class Count>
VqIniFile::Section& append(VqIniFile::SectionMap& sections, const Narrow& name,
                           AttribValuePair&& pair, Count countPairs) {
    // In a file that was saved each section comes behind the last.
    const bool isLast = !sections.empty() && sections.key_comp()(sections.rbegin()->first, name);
    const auto found = isLast ? sections.end() : sections.lower_bound(name);
    if (found != sections.end() && !sections.key_comp()(name, found->first)) {
        found->second.push_back(std::move(pair));
        return found->second;
    }
    VqIniFile::Section section;
    section.reserve(countPairs());
    section.push_back(std::move(pair));
    return sections.emplace_hint(found, name, std::move(section))->second;
}

} // namespace

SectionsBuildingOutputIterator::SectionsBuildingOutputIterator(VqIniFile::SectionMap* sections)
    : sections_(sections), section_(VqIniFile::kAnonymousSection()) {}

SectionsBuildingOutputIterator& SectionsBuildingOutputIterator::operator=(Narrow line) {
    const std::string_view text = trimmed(line);
    if (text.empty()) return *this;
    if (isHeader(text)) {
        section_ = Narrow(nameIn(text));
    } else {
        const PairText pair(text, '=');
        const bool isWhole = text.size() == line.length();
        append(*sections_, section_, isWhole ? pair.pair(std::move(line)) : pair.pair(),
               [] { return 1; });
    }
    return *this;
}

// Takes the lines of one buffer in place of the sink.
class VqIniFile_Private::SectionFiller {
public:
    explicit SectionFiller(SectionsBuildingOutputIterator&& sink)
        : sections_(*sink.sections_), name_(std::move(sink.section_)) {}

    /// `rest` is what comes behind the line.
    void take(std::string_view line, std::string_view rest, char separator) {
        line = trimmed(line);
        if (line.empty()) return;
        if (isHeader(line)) {
            name_ = Narrow(nameIn(line));
            section_ = nullptr;
            return;
        }
        AttribValuePair pair = PairText(line, '=').pair();
        if (section_) {
            section_->push_back(std::move(pair));
        } else {
            section_ = &append(sections_, name_, std::move(pair),
                               [&] { return 1 + pairsUpToAHeader(rest, separator); });
        }
    }

private:
    // Stops at the first line that is not plainly blank or a pair, so that it never counts what may
    // be another section's, nor any line twice.
    static std::size_t pairsUpToAHeader(std::string_view text, char separator) {
        std::size_t count = 0;
        const Printable isPrintable;
        while (!text.empty()) {
            const std::size_t end = std::min(text.find(separator), text.size());
            const std::string_view line = text.substr(0, end);
            if (!line.empty() && line != "\r") {
                if (line.front() == '[' || line.front() == ' ' || !isPrintable(line.front())) break;
                ++count;
            }
            text.remove_prefix(std::min(end + 1, text.size()));
        }
        return count;
    }

    VqIniFile::SectionMap& sections_;
    Narrow name_;
    VqIniFile::Section* section_ = nullptr; ///< of that name; null until it has been looked for
};

template <>
unsigned long Vq::StringManip::splitBuffer(SectionsBuildingOutputIterator out, const char* buffer,
                                           unsigned long size, char separator) {
    VqIniFile_Private::SectionFiller filler(std::move(out));
    const Printable isPrintable;
    unsigned long lines = 0;
    std::string_view rest(buffer, size);
    while (!rest.empty()) {
        const std::size_t found = rest.find(separator);
        const std::size_t next = found == rest.npos ? rest.size() : found + 1;
        const std::string_view line = withoutUnprintableEnd(rest.substr(0, next), isPrintable);
        rest.remove_prefix(next);
        filler.take(line, rest, separator);
        ++lines;
        rest.remove_prefix(unprintableStart(rest, separator, isPrintable));
    }
    return lines;
}

// The path of the model is as before when `action` throws, like everything else about it.
template <class Action> bool VqIniFile::withPath(const Wide& path, Action action) {
    Wide previous = path_;
    if (!path.empty()) path_ = path;
    try {
        return action();
    } catch (...) {
        path_ = std::move(previous); // nothing that can fail again
        throw;
    }
}

bool VqIniFile::load(Wide path, char lineSeparator) {
    return withPath(path, [&] { return !path_.empty() && loadFrom(path_, lineSeparator); });
}

bool VqIniFile::loadFrom(const Wide& path, char lineSeparator) {
    const Vq::Ptr<iFile> file = OS()->fileSystem()->openFile(path, 1, 0, 1, 0);
    if (!file) return false;
    const unsigned long size = file->size();
    // The count of a read has 32 bits.
    if (size == 0 || size > std::numeric_limits<unsigned int>::max()) return false;
    const std::unique_ptr<char[]> buffer(new char[size]);
    if (file->read(buffer.get(), static_cast<unsigned int>(size)) == 0) return false;

    SectionMap added(sections_.key_comp());
    Vq::StringManip::splitBuffer(SectionsBuildingOutputIterator(&added), buffer.get(), size,
                                 lineSeparator);
    absorb(added);
    return true;
}

// Everything that can fail comes first, so that a load is there whole or not at all.
void VqIniFile::absorb(SectionMap& added) {
    if (sections_.empty()) {
        sections_.swap(added);
        return;
    }
    for (const auto& [name, pairs] : added) {
        const auto found = sections_.find(name);
        if (found != sections_.end()) found->second.reserve(found->second.size() + pairs.size());
    }
    sections_.merge(added);
    for (auto& [name, pairs] : added) {
        Section& section = sections_.find(name)->second;
        section.insert(section.end(), std::make_move_iterator(pairs.begin()),
                       std::make_move_iterator(pairs.end()));
    }
}

// --- Saving

namespace {

// The longest line that any pair or header of `sections` prints as, line end included.
std::size_t longestLine(const VqIniFile::SectionMap& sections) {
    std::size_t longest = 0;
    for (const auto& [name, pairs] : sections) {
        longest = std::max<std::size_t>(longest, name.length() + 2);
        for (const AttribValuePair& pair : pairs) {
            const bool parts = pair.form() == AttribValuePair::kPartsOnly;
            const std::size_t length =
                parts ? std::size_t{pair.name().length()} + 1 + pair.value().length()
                      : pair.text().length();
            longest = std::max(longest, length);
        }
    }
    return longest + 2;
}

// Writes lines to a file, each in one call. They are put together in one buffer that is long enough
// from the start: once a file is open nothing may fail but the writing itself, lest the half that
// was written count as the whole.
class LineWriter {
public:
    /// `buffer` is borrowed and has room for the longest line.
    LineWriter(iFile& file, char* buffer) : file_(file), line_(buffer), end_(buffer) {}

    void emptyLine() { endLine(); }

    void header(const Narrow& name) {
        add("[");
        add(name);
        add("]");
        endLine();
    }

    void pairs(const VqIniFile::Section& section) {
        for (const AttribValuePair& pair : section) {
            if (pair.form() == AttribValuePair::kPartsOnly) {
                add(pair.name());
                add("=");
                add(pair.value());
            } else {
                add(pair.text());
            }
            endLine();
        }
    }

    /// Has every write succeeded so far?
    bool ok() const { return ok_; }

private:
    void add(std::string_view part) {
        std::memcpy(end_, part.data(), part.size());
        end_ += part.size();
    }

    void endLine() {
        add("\r\n");
        if (file_.write(line_, static_cast<unsigned int>(end_ - line_)) == 0) ok_ = false;
        end_ = line_;
    }

    iFile& file_;
    char* const line_;
    char* end_; ///< of the line so far
    bool ok_ = true;
};

// Where `save` stays when its walk meets the anonymous section. The volatile read is an effect that
// no compiler may take the loop away for the lack of.
void stayForever() {
    for (const volatile bool always = true; always;) {
    }
}

} // namespace

bool VqIniFile::save(Wide path) {
    return withPath(path, [this] {
        bool allWritten = true;
        return static_cast<bool>(write(AtAnonymous::kStayForever, allWritten));
    });
}

bool VqIniFile::saveAll(Wide path) {
    return withPath(path, [this] {
        bool allWritten = true;
        const Vq::Ptr<iFile> file = write(AtAnonymous::kStepPast, allWritten);
        return file && allWritten && file->commit() != 0;
    });
}

Vq::Ptr<iFile> VqIniFile::write(AtAnonymous atAnonymous, bool& allWritten) const {
    // Whatever allocates comes before the opening; see LineWriter.
    const auto anonymous = sections_.find(kAnonymousSection());
    const std::unique_ptr<char[]> buffer(new char[longestLine(sections_)]);
    Vq::Ptr<iFile> file = OS()->fileSystem()->openFile(path_, 2, 3, 0, 0);
    if (!file) return file;

    LineWriter writer(*file, buffer.get());
    if (anonymous != sections_.end()) writer.pairs(anonymous->second);
    bool blankLineDue = anonymous != sections_.end();
    for (auto section = sections_.begin(); section != sections_.end(); ++section) {
        if (section == anonymous) {
            if (atAnonymous == AtAnonymous::kStayForever) stayForever();
            continue;
        }
        if (blankLineDue) writer.emptyLine();
        writer.header(section->first);
        writer.pairs(section->second);
        blankLineDue = !isEssentiallyEmpty(section->first);
    }
    allWritten = writer.ok();
    return file;
}
