// What a user would keep a list of settings in. Like the library's pair, each entry holds the whole
// text and both parts of it.

#include "Bench.h"
#include "SettingsText.h"

#include <string>
#include <string_view>
#include <vector>

#ifdef VQ_PEER_QT
#include <QByteArray>
#include <QList>
#endif
#ifdef VQ_PEER_ABSEIL
#include <absl/strings/str_join.h>
#include <absl/strings/str_split.h>
#endif

namespace {

struct Entry {
    std::string text;
    std::string name;
    std::string value;
};
using Entries = std::vector<Entry>;

void addEntry(Entries& entries, std::string_view field) {
    const std::size_t separator = field.find('=');
    if (separator == field.npos || separator == 0 || separator + 1 == field.size()) return;
    entries.push_back({std::string(field), std::string(field.substr(0, separator)),
                       std::string(field.substr(separator + 1))});
}

Entries parsed(std::string_view text) {
    Entries entries;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find(',', start), text.size());
        addEntry(entries, text.substr(start, end - start));
        start = end + 1;
    }
    return entries;
}

std::string printed(const Entries& entries) {
    std::size_t length = 0;
    for (const Entry& entry : entries) length += entry.text.size() + 1;
    std::string text;
    text.reserve(length);
    for (const Entry& entry : entries) {
        if (&entry != &entries.front()) text += ',';
        text += entry.text;
    }
    return text;
}

std::string valueOf(const std::string& name, const Entries& entries) {
    for (const Entry& entry : entries) {
        if (entry.name == name) return entry.value;
    }
    return {};
}

template <class Parse> void addParse(const char* peer, long count, Parse parse) {
    vqbench::add("pairs.parse", peer, count, [=](benchmark::State& state) {
        const std::string text = vqbench::pairText(static_cast<std::size_t>(count));
        const auto input = parse.input(text);
        vqbench::require(static_cast<long>(parse(input).size()) == count);
        for (auto step : state) {
            const auto entries = parse(input);
            benchmark::DoNotOptimize(entries.data());
        }
        state.SetItemsProcessed(state.iterations() * count);
    });
}

struct StdParse {
    static std::string input(const std::string& text) { return text; }
    Entries operator()(std::string_view text) const { return parsed(text); }
};

#ifdef VQ_PEER_ABSEIL
struct AbseilParse {
    static std::string input(const std::string& text) { return text; }
    Entries operator()(const std::string& text) const {
        Entries entries;
        for (const absl::string_view field : absl::StrSplit(text, ',')) {
            addEntry(entries, {field.data(), field.size()});
        }
        return entries;
    }
};
#endif

#ifdef VQ_PEER_QT
struct QtEntry {
    QByteArray text;
    QByteArray name;
    QByteArray value;
};

struct QtParse {
    static QByteArray input(const std::string& text) { return QByteArray::fromStdString(text); }
    QList<QtEntry> operator()(const QByteArray& text) const {
        QList<QtEntry> entries;
        for (const QByteArray& field : text.split(',')) {
            const auto separator = field.indexOf('=');
            if (separator <= 0 || separator + 1 == field.size()) continue;
            entries.append({field, field.left(separator), field.mid(separator + 1)});
        }
        return entries;
    }
};
#endif

template <class Print> void addPrint(const char* peer, long count, Print print) {
    vqbench::add("pairs.print", peer, count, [=](benchmark::State& state) {
        const std::string text = vqbench::pairText(static_cast<std::size_t>(count));
        const Entries entries = parsed(text);
        vqbench::require(print(entries) == text);
        for (auto step : state) {
            const std::string made = print(entries);
            benchmark::DoNotOptimize(made.data());
        }
        state.SetItemsProcessed(state.iterations() * count);
    });
}

void addPairs(long count) {
    addParse("std", count, StdParse());
    addPrint("std", count, printed);
#ifdef VQ_PEER_ABSEIL
    addParse("abseil", count, AbseilParse());
    addPrint("abseil", count, [](const Entries& entries) {
        return absl::StrJoin(entries, ",",
                             [](std::string* out, const Entry& entry) { *out += entry.text; });
    });
#endif
#ifdef VQ_PEER_QT
    addParse("qbytearray", count, QtParse());
#endif
    const auto pairs = static_cast<std::size_t>(count);
    vqbench::add("pairs.lookup", "std", count, [=](benchmark::State& state) {
        const Entries entries = parsed(vqbench::pairText(pairs));
        const std::string name = vqbench::settingName(pairs - 1);
        vqbench::require(valueOf(name, entries) == vqbench::settingValue(pairs - 1));
        for (auto step : state) {
            const std::string value = valueOf(name, entries);
            benchmark::DoNotOptimize(value.data());
        }
    });
#ifdef VQ_PEER_QT
    vqbench::add("pairs.lookup", "qbytearray", count, [=](benchmark::State& state) {
        const QList<QtEntry> entries = QtParse()(QtParse::input(vqbench::pairText(pairs)));
        const QByteArray name = QtParse::input(vqbench::settingName(pairs - 1));
        const auto find = [&]() -> QByteArray {
            for (const QtEntry& entry : entries) {
                if (entry.name == name) return entry.value;
            }
            return {};
        };
        vqbench::require(find().toStdString() == vqbench::settingValue(pairs - 1));
        for (auto step : state) {
            const QByteArray value = find();
            benchmark::DoNotOptimize(value.data());
        }
    });
#endif
}

const bool added = [] {
    for (const long count : {10, 1000}) addPairs(count);
    return true;
}();

} // namespace
