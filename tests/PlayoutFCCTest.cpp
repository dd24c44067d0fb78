// The playout table, against a copy of it written by result and read the plain way.
#include "Vq/PlayoutFCC.h"

#include "VqTest/ScriptedTest.h"

#include <algorithm>
#include <limits>
#include <map>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace vqtest;
using Vq::lookupPlayoutFCC;

/// Four characters, the first in the lowest byte.
constexpr unsigned int fourCC(std::string_view text) {
    return static_cast<unsigned int>(static_cast<unsigned char>(text[0])) |
           static_cast<unsigned int>(static_cast<unsigned char>(text[1])) << 8 |
           static_cast<unsigned int>(static_cast<unsigned char>(text[2])) << 16 |
           static_cast<unsigned int>(static_cast<unsigned char>(text[3])) << 24;
}

static_assert(fourCC("avc1") == 0x31637661);

struct TextRow {
    std::string_view result;
    std::vector<std::string_view> inputs;
};

const std::vector<TextRow> kTexts{
    {"avc1",
     {"es00", "es01", "es02", "es03", "es04", "es05", "es06", "es07", "es08", "es09", "es10",
      "es11", "es12", "es13", "es14", "es15", "es16", "es17"}},
    {"avc6", {"ai12", "ai13", "ai15", "ai16", "ai1p", "ai1q", "avcc", "avcd"}},
    {"avc5", {"ai52", "ai53", "ai55", "ai56", "ai5p", "ai5q", "avca", "avcb"}},
    {"M701",
     {"hdv3", "hdv5", "hdv7", "hdva", "xdv3", "xdv5", "xdva", "xdvc", "xdve", "xd5a", "xd5c",
      "xd5e"}},
    {"dvh1", {"dvh5", "dvh6", "dvhp", "dvhq"}},
    {"dvsd", {"dvc ", "dvcp", "CDVC"}},
    {"dv25", {"dvpn", "dvpp"}},
    {"dv50", {"dv5n", "dv5p"}},
    {"GIMX", {"mx3n", "mx3p", "mx4n", "mx4p", "mx5n", "mx5p"}},
    {"MMES", {"mpeg"}},
    {"MJPG", {"mjpa"}},
    {"YUY2", {"yuv2"}},
    {"UYVY", {"2vuy"}},
};

struct NumberRow {
    std::string_view result;
    std::vector<unsigned int> inputs;
};

const std::vector<NumberRow> kNumbers{
    {"AVdx", {1235, 1241, 1250}},
    {"AVdn", {1237, 1238, 1242, 1243, 1244, 1251, 1252, 1253, 1258, 1259, 1260}},
    {"AVdr", {1256, 1270, 1271, 1272, 1273, 1274}},
};

class PlayoutFCC : public ScriptedTest {
protected:
    PlayoutFCC() {
        for (const TextRow& row : kTexts) {
            for (const std::string_view input : row.inputs) {
                table_[fourCC(input)] = fourCC(row.result);
            }
        }
        for (const NumberRow& row : kNumbers) {
            for (const unsigned int input : row.inputs) table_[input] = fourCC(row.result);
        }
    }

    unsigned int expected(unsigned int code) const {
        const auto found = table_.find(code);
        return found == table_.end() ? code : found->second;
    }

    std::map<unsigned int, unsigned int> table_;
};

TEST_F(PlayoutFCC, MapsEveryFormatToItsFamily) {
    for (const TextRow& row : kTexts) {
        for (const std::string_view input : row.inputs) {
            EXPECT_EQ(lookupPlayoutFCC(fourCC(input)), fourCC(row.result)) << input;
        }
    }
}

TEST_F(PlayoutFCC, MapsEveryNumber) {
    for (const NumberRow& row : kNumbers) {
        for (const unsigned int input : row.inputs) {
            EXPECT_EQ(lookupPlayoutFCC(input), fourCC(row.result)) << input;
        }
    }
}

TEST_F(PlayoutFCC, LeavesTheGapsBetweenTheNumbersAlone) {
    for (const unsigned int gap :
         {1234u, 1236u, 1239u, 1240u, 1245u, 1246u, 1247u, 1248u, 1249u, 1254u, 1255u,
          1257u, 1261u, 1262u, 1263u, 1264u, 1265u, 1266u, 1267u, 1268u, 1269u, 1275u}) {
        EXPECT_EQ(lookupPlayoutFCC(gap), gap);
    }
}

TEST_F(PlayoutFCC, MapsEveryResultToItself) {
    std::set<std::string_view> results;
    for (const TextRow& row : kTexts) results.insert(row.result);
    for (const NumberRow& row : kNumbers) results.insert(row.result);
    EXPECT_EQ(results.size(), 16u);
    for (const std::string_view result : results) {
        EXPECT_EQ(lookupPlayoutFCC(fourCC(result)), fourCC(result)) << result;
    }
}

TEST_F(PlayoutFCC, MapsNothingTwice) {
    for (const auto& [input, result] : table_) {
        EXPECT_NE(input, result);
        EXPECT_EQ(lookupPlayoutFCC(lookupPlayoutFCC(input)), result);
    }
}

TEST_F(PlayoutFCC, TellsTheLookAlikesApart) {
    EXPECT_EQ(lookupPlayoutFCC(fourCC("dvc ")), fourCC("dvsd"));
    EXPECT_EQ(lookupPlayoutFCC(fourCC("dvcp")), fourCC("dvsd"));
    EXPECT_EQ(lookupPlayoutFCC(fourCC("dvpp")), fourCC("dv25"));
    EXPECT_EQ(lookupPlayoutFCC(fourCC("yuv2")), fourCC("YUY2"));
    EXPECT_EQ(lookupPlayoutFCC(fourCC("2vuy")), fourCC("UYVY"));
    using namespace std::string_view_literals;
    for (const std::string_view code : {"dvc\0"sv, "cdvc"sv, "DVC "sv, "AVC1"sv, "es18"sv, "es0a"sv,
                                        "2VUY"sv, "YUV2"sv, "ai14"sv, "hdv6"sv, "00se"sv}) {
        EXPECT_EQ(lookupPlayoutFCC(fourCC(code)), fourCC(code)) << code;
    }
}

TEST_F(PlayoutFCC, ReturnsUnknownCodesThemselves) {
    for (const unsigned int code : {0u, 1u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        EXPECT_EQ(lookupPlayoutFCC(code), code);
    }
}

TEST_F(PlayoutFCC, AgreesWithTheTableOnEverySmallNumber) {
    for (unsigned int code = 0; code <= 70000; ++code) {
        ASSERT_EQ(lookupPlayoutFCC(code), expected(code)) << code;
    }
}

TEST_F(PlayoutFCC, AgreesWithTheTableWhereOneByteOfACodeIsChanged) {
    int mapped = 0;
    for (const auto& [input, result] : table_) {
        for (unsigned int shift = 0; shift < 32; shift += 8) {
            for (unsigned int byte = 0; byte < 256; ++byte) {
                const unsigned int code = (input & ~(0xFFu << shift)) | byte << shift;
                ASSERT_EQ(lookupPlayoutFCC(code), expected(code)) << std::hex << code;
                mapped += code != input && expected(code) != code ? 1 : 0;
            }
        }
    }
    EXPECT_GT(mapped, 100) << "many inputs are neighbours";
}

TEST_F(PlayoutFCC, AgreesWithTheTableOnRandomCodesNearAndFar) {
    std::mt19937 random(2);
    std::string letters;
    for (const TextRow& row : kTexts) {
        for (const std::string_view input : row.inputs) letters += input;
    }
    for (int i = 0; i < 500000; ++i) {
        std::string text(4, ' ');
        for (char& c : text) c = letters[random() % letters.size()];
        ASSERT_EQ(lookupPlayoutFCC(fourCC(text)), expected(fourCC(text))) << text;
        const auto code = static_cast<unsigned int>(random());
        ASSERT_EQ(lookupPlayoutFCC(code), expected(code)) << std::hex << code;
    }
}

TEST_F(PlayoutFCC, HoldsThe87InputsOfItsTable) {
    EXPECT_EQ(table_.size(), 67u + 20u);
    const auto changed = std::ranges::count_if(
        table_, [](const auto& entry) { return lookupPlayoutFCC(entry.first) != entry.first; });
    EXPECT_EQ(changed, 87);
}

TEST_F(PlayoutFCC, CostsThePlatformNothing) {
    static_assert(noexcept(lookupPlayoutFCC(0)));
    const Counts made = countsOf([] {
        for (unsigned int code = 1200; code < 1300; ++code) (void)lookupPlayoutFCC(code);
    });
    EXPECT_EQ(made.total(), 0) << made;
}

} // namespace
