// Numbers in a process whose numeric locale is not "C": the repair, and what goes by without it.
#include "Vq/String.h"

#include "VqTest/CapturedOutput.h"
#include "VqTest/ScriptedPlatform.h"
#include "VqTest/ScriptedTest.h"
#include "support/ScopedLocale.h"

#include <cfloat>
#include <cstdio>
#include <limits>
#include <string>

namespace {

using namespace vqtest;

using Narrow = LightweightString<char>;
using Wide = LightweightString<wchar_t>;

/// The two lines of a repair.
std::string repairOf(const std::string& locale) {
    return "Fixing numeric locale (" + locale +
           ")\n"
           "assertion failed strcmp( locale, \"C\" ) == 0 at ole/Vq/String line 25\n";
}

std::string numericLocale() {
    return std::setlocale(LC_NUMERIC, nullptr);
}

std::string libcText(double d) {
    char text[512];
    std::snprintf(text, sizeof text, "%f", d);
    return text;
}

class StringLocale : public ScriptedTest {};

/// The numeric locale writes a comma.
class StringCommaLocale : public ScriptedTest {
protected:
    StringCommaLocale() { EXPECT_EQ(libcText(1.5), "1,500000"); }

    ScopedLocale comma_{LC_NUMERIC, kTestLocale};
};

TEST_F(StringCommaLocale, IsRepairedByTheFirstDoubleAppendedAndStaysSo) {
    CapturedOutput output;
    Narrow text("d=");
    text += 1.5;
    text += -0.25;
    const Narrow another = StringFromFloat(2.5);
    EXPECT_EQ(output.text(), repairOf(kTestLocale));
    EXPECT_EQ(text, "d=1.500000-0.250000");
    EXPECT_EQ(another, "2.500000");
    EXPECT_EQ(numericLocale(), "C");
}

TEST_F(StringCommaLocale, IsRepairedByStringFromFloat) {
    CapturedOutput output;
    const Narrow text = StringFromFloat(1.5);
    EXPECT_EQ(output.text(), repairOf(kTestLocale));
    EXPECT_EQ(text, "1.500000");
    EXPECT_EQ(numericLocale(), "C");
}

TEST_F(StringCommaLocale, IsRepairedByWStringFromFloat) {
    CapturedOutput output;
    const Wide text = Vq::WStringFromFloat(1.5, 3, true);
    const Wide another = Vq::WStringFromFloat(1.5, 3, false);
    EXPECT_EQ(output.text(), repairOf(kTestLocale));
    EXPECT_EQ(text, L"1.5");
    EXPECT_EQ(another, L"1.500");
    EXPECT_EQ(numericLocale(), "C");
}

TEST_F(StringCommaLocale, IsRepairedByTheLargestValueToo) {
    CapturedOutput output;
    const Narrow text = StringFromFloat(-DBL_MAX);
    EXPECT_EQ(output.text(), repairOf(kTestLocale));
    EXPECT_EQ(text, libcText(-DBL_MAX));
    EXPECT_EQ(text.length(), 317u);
}

TEST_F(StringCommaLocale, IsRepairedOnRequest) {
    CapturedOutput output;
    setNumericLocale();
    setNumericLocale();
    EXPECT_EQ(output.text(), repairOf(kTestLocale));
    EXPECT_EQ(numericLocale(), "C");
}

TEST_F(StringCommaLocale, IsToldBeforeItIsLeft) {
    CapturedOutput output;
    Narrow text;
    text += 1.5;
    EXPECT_EQ(output.text().find(std::string("(") + kTestLocale + ")"), 22u);
}

TEST_F(StringCommaLocale, IsLeftAloneByIntegers) {
    CapturedOutput output;
    Narrow text;
    text += -1500000;
    text += 1500000u;
    EXPECT_EQ(StringFromInteger(1500000), "1500000");
    EXPECT_EQ(Vq::WStringFromInteger(1500000), L"1500000");
    EXPECT_EQ(output.text(), "");
    EXPECT_EQ(text, "-15000001500000");
    EXPECT_EQ(numericLocale(), kTestLocale);
}

TEST_F(StringCommaLocale, IsLeftAloneByTextsWithoutAComma) {
    CapturedOutput output;
    const Wide whole = Vq::WStringFromFloat(1500.0, 0, false);
    const Narrow infinite = StringFromFloat(std::numeric_limits<double>::infinity());
    const Wide notANumber = Vq::WStringFromFloat(std::numeric_limits<double>::quiet_NaN(), 3, true);
    // The comma would be behind what is kept.
    const Wide cut = Vq::WStringFromFloat(DBL_MAX, 9, false);
    EXPECT_EQ(output.text(), "");
    EXPECT_EQ(whole, L"1500");
    EXPECT_EQ(infinite, "inf");
    EXPECT_EQ(notANumber, L"nan");
    EXPECT_EQ(cut.length(), 255u);
    EXPECT_EQ(numericLocale(), kTestLocale);
}

TEST_F(StringCommaLocale, IsLeftAloneByReading) {
    CapturedOutput output;
    Vq::FloatFromWString(L"1,5", 0);
    Vq::IntFromWString(L"1,5", 0);
    Vq::Int64FromWString(L"1,5", 0);
    asDouble("1,5");
    EXPECT_EQ(output.text(), "");
    EXPECT_EQ(numericLocale(), kTestLocale);
}

TEST_F(StringLocale, OfOtherKindsIsNotTouchedByTheRepair) {
    const ScopedLocale all(LC_ALL, kTestLocale);
    CapturedOutput output;
    EXPECT_EQ(StringFromFloat(1.5), "1.500000");
    EXPECT_EQ(output.text(), repairOf(kTestLocale));
    EXPECT_EQ(numericLocale(), "C");
    EXPECT_STREQ(std::setlocale(LC_CTYPE, nullptr), kTestLocale);
    EXPECT_STREQ(std::setlocale(LC_TIME, nullptr), kTestLocale);
}

TEST_F(StringLocale, WithAPointIsLeftAloneByFormatting) {
    const ScopedLocale unicode(LC_NUMERIC, kUnicodeLocale);
    CapturedOutput output;
    EXPECT_EQ(StringFromFloat(1.5), "1.500000");
    EXPECT_EQ(Vq::WStringFromFloat(1.5, 1, false), L"1.5");
    EXPECT_EQ(output.text(), "");
    EXPECT_EQ(numericLocale(), kUnicodeLocale);
}

TEST_F(StringLocale, WithAPointIsReplacedOnRequestAllTheSame) {
    const ScopedLocale unicode(LC_NUMERIC, kUnicodeLocale);
    CapturedOutput output;
    setNumericLocale();
    EXPECT_EQ(output.text(), repairOf(kUnicodeLocale));
    EXPECT_EQ(numericLocale(), "C");
}

TEST_F(StringLocale, NamedCNeedsNoRepair) {
    const ScopedLocale plain(LC_NUMERIC, "C");
    CapturedOutput output;
    setNumericLocale();
    EXPECT_EQ(output.text(), "");
}

TEST_F(StringLocale, IsNotDoubtedForACommaInTheTextAppendedTo) {
    CapturedOutput output;
    Narrow text("a,b=");
    text += 1.5;
    EXPECT_EQ(output.text(), "");
    EXPECT_EQ(text, "a,b=1.500000");
}

TEST_F(StringLocale, IsReadAndRepairedWithoutThePlatform) {
    const ScopedLocale unicode(LC_NUMERIC, kUnicodeLocale);
    CapturedOutput output;
    const Counts made = countsOf([] { setNumericLocale(); });
    output.text();
    EXPECT_EQ(made.total(), 0) << made;
}

} // namespace
