#include "Vq/System.h"

#include "VqTest/ScriptedPlatform.h"
#include "VqTest/ScriptedTest.h"
#include "support/FreshProcess.h"
#include "support/Threads.h"

#include <cstring>
#include <random>
#include <string_view>
#include <vector>

namespace {

using namespace vqtest;
using enum vqtest::Call;

class SystemClock : public ScriptedTest {};
class SystemChecksum : public ScriptedTest {};

// --- Processors. The answer is kept for the life of a process, so each test has one of its own.

TEST(SystemProcessors, AreAskedForOnceAndTheAnswerKept) {
    inFreshProcess([] {
        platform().cpu()->setProcessorCount(12);
        const Counts first = countsOf([] { EXPECT_EQ(Vq::CPUInfo::getNumProcessors(), 12); });
        EXPECT_EQ(first[kProcessorCount], 1);
        EXPECT_EQ(first.total(), 1) << first;
        platform().cpu()->setProcessorCount(3);
        const Counts later = countsOf([] {
            for (int i = 0; i < 5; ++i) EXPECT_EQ(Vq::CPUInfo::getNumProcessors(), 12);
        });
        EXPECT_EQ(later.total(), 0) << later;
    });
}

TEST(SystemProcessors, AreNotAskedForBeforeTheFirstCall) {
    inFreshProcess([] { EXPECT_EQ(platform().calls().count(kProcessorCount), 0); });
}

TEST(SystemProcessors, AreAskedForAgainAfterAnAnswerOfZero) {
    inFreshProcess([] {
        platform().cpu()->setProcessorCount(0);
        EXPECT_EQ(Vq::CPUInfo::getNumProcessors(), 0);
        EXPECT_EQ(Vq::CPUInfo::getNumProcessors(), 0);
        EXPECT_EQ(platform().calls().count(kProcessorCount), 2);
        platform().cpu()->setProcessorCount(8);
        EXPECT_EQ(Vq::CPUInfo::getNumProcessors(), 8);
        EXPECT_EQ(Vq::CPUInfo::getNumProcessors(), 8);
        EXPECT_EQ(platform().calls().count(kProcessorCount), 3);
    });
}

TEST(SystemProcessors, AreKeptAsThePlatformTellsThem) {
    inFreshProcess([] {
        platform().cpu()->setProcessorCount(-1);
        EXPECT_EQ(Vq::CPUInfo::getNumProcessors(), -1);
        EXPECT_EQ(Vq::CPUInfo::getNumProcessors(), -1);
        EXPECT_EQ(platform().calls().count(kProcessorCount), 1);
    });
}

TEST(SystemProcessors, AreTheSameToThreadsThatAskFirstTogether) {
    inFreshProcess([] {
        constexpr int kThreads = 4;
        platform().cpu()->setProcessorCount(12);
        std::vector<int> answers(kThreads);
        onThreads(kThreads, [&](int i) {
            answers[static_cast<std::size_t>(i)] = Vq::CPUInfo::getNumProcessors();
        });
        EXPECT_EQ(answers, std::vector<int>(kThreads, 12));
        EXPECT_LE(platform().calls().count(kProcessorCount), kThreads);
        EXPECT_GE(platform().calls().count(kProcessorCount), 1);
    });
}

// --- Clock

TEST_F(SystemClock, IsThePlatformsUnchanged) {
    for (const double milliseconds : {0.0, 1.0, 0.125, 1500.75, 1e15, -3.5}) {
        platform().utils()->setNow(milliseconds);
        const Counts made = countsOf([&] { EXPECT_EQ(Vq::now(), milliseconds); });
        EXPECT_EQ(made[kNow], 1);
        EXPECT_EQ(made.total(), 1) << made;
    }
}

TEST_F(SystemClock, InSecondsIsAThousandthOfIt) {
    for (const double milliseconds : {0.0, 1.0, 0.125, 1500.75, 1e15, -3.5}) {
        platform().utils()->setNow(milliseconds);
        const Counts made = countsOf([&] { EXPECT_EQ(Vq::SecondsNow(), milliseconds / 1000.0); });
        EXPECT_EQ(made.total(), 1) << made;
    }
    const double before = Vq::SecondsNow();
    platform().utils()->advance(1000.0);
    EXPECT_EQ(Vq::SecondsNow() - before, 1.0);
}

TEST_F(SystemClock, IsReadAfreshEveryTime) {
    platform().utils()->setStep(2.0);
    EXPECT_EQ(Vq::now(), 0.0);
    EXPECT_EQ(Vq::now(), 2.0);
    EXPECT_EQ(Vq::SecondsNow(), 0.004);
}

// --- Checksum

/// The definition, bit by bit.
unsigned definitionOfByte(unsigned char byte, unsigned crc) {
    for (int bit = 0; bit < 8; ++bit) {
        const bool top = (crc & 0x80000000u) != 0;
        crc = (crc << 1) | (byte >> bit & 1u);
        if (top) crc ^= 0x2Du;
    }
    return crc;
}

unsigned definitionOfBlock(const std::vector<unsigned char>& bytes) {
    unsigned crc = 0;
    for (const unsigned char byte : bytes) crc = definitionOfByte(byte, crc);
    return crc;
}

unsigned checksumOf(std::string_view text) {
    return Vq::CRC::CalculateCRC32ForBlock(text.data(), text.size());
}

std::vector<unsigned char> randomBytes(std::mt19937& random, std::size_t count) {
    std::vector<unsigned char> bytes(count);
    for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(random());
    return bytes;
}

TEST_F(SystemChecksum, OfKnownTextsIsKnown) {
    EXPECT_EQ(checksumOf("\x01"), 0x00000080u);
    EXPECT_EQ(checksumOf("a"), 0x00000086u);
    EXPECT_EQ(checksumOf("GLOBAL"), 0xF25ABF18u);
    EXPECT_EQ(checksumOf("123456789"), 0xECF6681Eu);
    EXPECT_EQ(checksumOf("\xFF\xFF\xFF\xFF\xFF"), 0xFFFFE4E4u);
}

TEST_F(SystemChecksum, OfNothingIsZeroAndReadsNothing) {
    EXPECT_EQ(Vq::CRC::CalculateCRC32ForBlock(nullptr, 0), 0u);
    EXPECT_EQ(Vq::CRC::CalculateCRC32ForBlock("abc", 0), 0u);
}

TEST_F(SystemChecksum, TakesEveryByteAfterEveryKindOfRemainder) {
    std::mt19937 random(1);
    std::vector<unsigned> remainders = {0, 1, 0x2D, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
    for (unsigned bit = 0; bit < 32; ++bit) remainders.push_back(1u << bit);
    for (int i = 0; i < 500; ++i) remainders.push_back(static_cast<unsigned>(random()));
    for (const unsigned crc : remainders) {
        for (unsigned byte = 0; byte <= 0xFF; ++byte) {
            const auto value = static_cast<unsigned char>(byte);
            ASSERT_EQ(Vq::CRC::IterateCRC32(static_cast<char>(value), crc),
                      definitionOfByte(value, crc))
                << byte << ' ' << crc;
        }
    }
}

TEST_F(SystemChecksum, OfAByteDoesNotDependOnItsSign) {
    EXPECT_EQ(Vq::CRC::IterateCRC32(static_cast<char>(static_cast<signed char>(-1)), 0x12345678u),
              definitionOfByte(0xFF, 0x12345678u));
}

TEST_F(SystemChecksum, OfABlockIsThatOfItsBytesWhereverItStartsAndEnds) {
    std::mt19937 random(2);
    const std::vector<unsigned char> bytes = randomBytes(random, 300);
    for (std::size_t start = 0; start < 16; ++start) {
        for (std::size_t length = 0; length + start <= 280; ++length) {
            const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(start);
            // In a block of its own, so that a byte read beyond its end is found out.
            const std::vector<unsigned char> part(first,
                                                  first + static_cast<std::ptrdiff_t>(length));
            const unsigned expected = definitionOfBlock(part);
            ASSERT_EQ(Vq::CRC::CalculateCRC32ForBlock(part.data(), length), expected);
            ASSERT_EQ(Vq::CRC::CalculateCRC32ForBlock(bytes.data() + start, length), expected);
        }
    }
}

TEST_F(SystemChecksum, OfAMegabyteIsThatOfItsBytes) {
    std::mt19937 random(3);
    const std::vector<unsigned char> bytes = randomBytes(random, (1 << 20) + 3);
    EXPECT_EQ(Vq::CRC::CalculateCRC32ForBlock(bytes.data(), bytes.size()),
              definitionOfBlock(bytes));
}

TEST_F(SystemChecksum, OfFourBytesAreTheirBitsInOrder) {
    EXPECT_EQ(checksumOf("\x80\x40\x01\xFF"), 0x010280FFu);
    EXPECT_EQ(checksumOf("\x80\x40"), 0x0102u);
}

TEST_F(SystemChecksum, IsNotChangedByLeadingZeroBytes) {
    for (std::size_t zeros = 0; zeros < 40; ++zeros) {
        EXPECT_EQ(checksumOf(std::string(zeros, '\0') + "GLOBAL"), 0xF25ABF18u);
    }
}

TEST_F(SystemChecksum, AsksThePlatformForNothing) {
    EXPECT_EQ(countsOf([] { checksumOf("123456789"); }).total(), 0);
}

TEST_F(SystemChecksum, AndClockServeManyThreadsAtOnce) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 1000;
    std::mt19937 random(4);
    const std::vector<unsigned char> bytes = randomBytes(random, 257);
    const unsigned expected = definitionOfBlock(bytes);
    platform().utils()->setNow(5);
    std::vector<int> right(kThreads);
    onThreads(kThreads, [&](int thread) {
        for (int i = 0; i < kRounds; ++i) {
            if (Vq::CRC::CalculateCRC32ForBlock(bytes.data(), bytes.size()) == expected &&
                Vq::now() == 5) {
                ++right[static_cast<std::size_t>(thread)];
            }
        }
    });
    EXPECT_EQ(right, std::vector<int>(kThreads, kRounds));
}

} // namespace
