// What a user would cut a text into fields with, and join them.

#include "Bench.h"
#include "SettingsText.h"

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#ifdef VQ_PEER_QT
#include <QByteArray>
#include <QList>
#include <QStringList>
#endif
#ifdef VQ_PEER_ABSEIL
#include <absl/strings/str_join.h>
#include <absl/strings/str_split.h>
#endif
#ifdef VQ_PEER_GLIB
#include <glib.h>
#endif

namespace {

template <class Split>
void add(const char* workload, const char* peer, long count, std::size_t length, bool quoted,
         Split split) {
    vqbench::add(workload, peer, count, [=](benchmark::State& state) {
        const std::string text =
            vqbench::fieldText(static_cast<std::size_t>(count), length, quoted);
        const auto input = split.input(text);
        {
            const auto fields = split(input);
            vqbench::require(static_cast<long>(fields.size()) == count);
            vqbench::require(std::string_view(fields.back().data(),
                                              static_cast<std::size_t>(fields.back().size()))
                                 .size() == length);
        }
        for (auto step : state) {
            const auto fields = split(input);
            benchmark::DoNotOptimize(fields.data());
        }
        state.SetItemsProcessed(state.iterations() * count);
    });
}

struct TakesString {
    static std::string input(const std::string& text) { return text; }
};

/// The loop that everybody writes.
struct StdSplit : TakesString {
    std::vector<std::string> operator()(std::string_view text) const {
        std::vector<std::string> fields;
        for (std::size_t start = 0;;) {
            const std::size_t end = text.find(',', start);
            if (end == text.npos) {
                fields.emplace_back(text.substr(start));
                return fields;
            }
            fields.emplace_back(text.substr(start, end - start));
            start = end + 1;
        }
    }
};

struct StdSplitQuotes : TakesString {
    std::vector<std::string> operator()(std::string_view text) const {
        std::vector<std::string> fields;
        bool inQuotes = false;
        std::size_t start = 0;
        for (std::size_t i = 0; i < text.size(); ++i) {
            if (text[i] == '"' && (i == 0 || text[i - 1] != '\\')) {
                inQuotes = !inQuotes;
            } else if (text[i] == ',' && !inQuotes) {
                fields.emplace_back(text.substr(start, i - start));
                start = i + 1;
            }
        }
        fields.emplace_back(text.substr(start));
        return fields;
    }
};

#ifdef VQ_PEER_QT
struct QtSplit {
    static QByteArray input(const std::string& text) { return QByteArray::fromStdString(text); }
    QList<QByteArray> operator()(const QByteArray& text) const { return text.split(','); }
};
#endif

#ifdef VQ_PEER_ABSEIL
struct AbseilSplit : TakesString {
    std::vector<std::string> operator()(const std::string& text) const {
        return absl::StrSplit(text, ',');
    }
};
#endif

void addSplits(long count) {
    add("split.plain", "std", count, 20, false, StdSplit());
    add("split.short", "std", count, 8, false, StdSplit());
    add("split.quotes", "std", count, 20, true, StdSplitQuotes());
#ifdef VQ_PEER_QT
    add("split.plain", "qbytearray", count, 20, false, QtSplit());
    add("split.short", "qbytearray", count, 8, false, QtSplit());
#endif
#ifdef VQ_PEER_ABSEIL
    add("split.plain", "abseil", count, 20, false, AbseilSplit());
    add("split.short", "abseil", count, 8, false, AbseilSplit());
#endif
}

template <class Text, class Fields, class Join>
void addJoin(const char* peer, long count, const Fields& fields, const Text& expected, Join join) {
    vqbench::add("join", peer, count, [=](benchmark::State& state) {
        vqbench::require(join(fields) == expected);
        for (auto step : state) {
            const Text joined = join(fields);
            benchmark::DoNotOptimize(joined.data());
        }
        state.SetItemsProcessed(state.iterations() * count);
    });
}

void addJoins(long count) {
    const std::string text = vqbench::fieldText(static_cast<std::size_t>(count), 20, false);
    const std::wstring wideText(text.begin(), text.end());
    std::vector<std::wstring> wideFields;
    for (const std::string& field : StdSplit()(text)) {
        wideFields.emplace_back(field.begin(), field.end());
    }
    addJoin("std", count, wideFields, wideText, [](const std::vector<std::wstring>& fields) {
        std::size_t length = fields.size() - 1;
        for (const std::wstring& field : fields) length += field.size();
        std::wstring joined;
        joined.reserve(length);
        for (const std::wstring& field : fields) {
            if (&field != &fields.front()) joined += L',';
            joined += field;
        }
        return joined;
    });
#ifdef VQ_PEER_QT
    const QString qtText = QString::fromStdString(text);
    addJoin("qstring", count, qtText.split(u','), qtText,
            [](const QStringList& fields) { return fields.join(u','); });
#endif
}

const bool added = [] {
    for (const long count : {10, 1000}) {
        addSplits(count);
        addJoins(count);
    }
    return true;
}();

} // namespace
