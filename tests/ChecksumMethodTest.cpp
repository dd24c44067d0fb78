// Each way to compute the checksum that this machine has, held against the byte-by-byte form.
#include "Vq/detail/Checksum.h"

#include "Vq/System.h"

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace {

namespace checksum = Vq::detail::checksum;

using Bytes = std::vector<unsigned char>;

struct NamedMethod {
    const char* name;
    checksum::Method method;
};

std::vector<NamedMethod> methodsOfThisMachine() {
    std::vector<NamedMethod> methods{{"plain", checksum::plain}};
    if (checksum::hasCarryless()) methods.push_back({"carryless", checksum::carryless});
    if (checksum::hasWide()) methods.push_back({"wide", checksum::wide});
    return methods;
}

Bytes randomBytes(std::size_t count) {
    std::mt19937 random(static_cast<unsigned int>(count));
    Bytes bytes(count);
    for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(random());
    return bytes;
}

std::uint32_t byteByByte(const unsigned char* bytes, std::size_t length) {
    std::uint32_t crc = 0;
    for (std::size_t i = 0; i < length; ++i) {
        crc = Vq::CRC::IterateCRC32(static_cast<char>(bytes[i]), crc);
    }
    return crc;
}

void expectAllAgree(const unsigned char* bytes, std::size_t length) {
    const std::uint32_t expected = byteByByte(bytes, length);
    for (const auto& [name, method] : methodsOfThisMachine()) {
        ASSERT_EQ(method(bytes, length), expected) << name << " of " << length;
    }
    ASSERT_EQ(Vq::CRC::CalculateCRC32ForBlock(bytes, length), expected) << length;
}

TEST(ChecksumMethods, AgreeOnEveryLengthAndStart) {
    const Bytes bytes = randomBytes(1200);
    for (std::size_t start = 0; start < 64; start += start < 17 ? 1 : 15) {
        for (std::size_t length = 0; length <= 300; ++length) {
            ASSERT_NO_FATAL_FAILURE(expectAllAgree(bytes.data() + start, length)) << start;
        }
    }
    for (std::size_t length = 301; length <= bytes.size(); ++length) {
        ASSERT_NO_FATAL_FAILURE(expectAllAgree(bytes.data(), length));
    }
}

TEST(ChecksumMethods, ReadNothingBesideTheBlock) {
    for (std::size_t length = 1; length <= 600; ++length) {
        const Bytes alone = randomBytes(length);
        ASSERT_NO_FATAL_FAILURE(expectAllAgree(alone.data(), length));
    }
}

TEST(ChecksumMethods, AgreeOnASingleBitWhereverItStands) {
    for (const std::size_t length : {8U, 16U, 64U, 80U, 256U, 512U, 1024U}) {
        Bytes bytes(length);
        for (std::size_t bit = 0; bit < 8 * length; ++bit) {
            bytes[bit / 8] = static_cast<unsigned char>(1U << bit % 8);
            ASSERT_NO_FATAL_FAILURE(expectAllAgree(bytes.data(), length)) << "bit " << bit;
            bytes[bit / 8] = 0;
        }
    }
}

TEST(ChecksumMethods, AgreeOnBytesThatAreAllTheSame) {
    for (const char value : {'\x00', '\x01', '\x80', '\xFF'}) {
        const Bytes bytes(5000, static_cast<unsigned char>(value));
        for (const std::size_t length : {63U, 64U, 255U, 256U, 257U, 1023U, 4096U, 5000U}) {
            ASSERT_NO_FATAL_FAILURE(expectAllAgree(bytes.data(), length)) << int{value};
        }
    }
}

TEST(ChecksumMethods, AgreeOnLongBlocks) {
    const Bytes bytes = randomBytes((1 << 18) + 300);
    for (const std::size_t odd : {0U, 1U, 15U, 16U, 63U, 64U, 255U, 256U, 299U}) {
        ASSERT_NO_FATAL_FAILURE(expectAllAgree(bytes.data() + 1, (1 << 18) + odd));
    }
}

TEST(ChecksumMethods, TakeTheWidestOfTheMachine) {
    EXPECT_EQ(checksum::bestMethod(), methodsOfThisMachine().back().method);
}

} // namespace
