// Which entry of a namespace a key finds: many of them, texts of one checksum, marked types.
#include "Vq/VqNamedObjects.h"

#include "Vq/System.h"
#include "support/RegistryTest.h"

#include <cstddef>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace vqtest;
using enum vqtest::Call;

const std::type_info& kInt = typeid(int);

/// With its place in the list.
constexpr long kBlocksOfAnEntry = 6;

unsigned checksumOf(std::string_view text) {
    return Vq::CRC::CalculateCRC32ForBlock(text.data(), text.size());
}

/// Different texts of one length and one checksum. The checksum is linear, so changing a text by
/// its polynomial, laid over five bytes at any place, does not change it.
std::vector<std::string> textsOfOneChecksum(std::size_t doublings) {
    constexpr char kPolynomial[] = {0x01, 0x00, 0x00, 0x68, 0x01};
    const std::string part = "abcdE";
    std::vector<std::string> texts(std::size_t{1} << doublings);
    for (std::size_t i = 0; i < texts.size(); ++i) {
        for (std::size_t bit = 0; bit < doublings; ++bit) {
            std::string next = part;
            for (std::size_t k = 0; k < next.size() && (i >> bit & 1); ++k) {
                next[k] = static_cast<char>(next[k] ^ kPolynomial[k]);
            }
            texts[i] += next;
        }
    }
    return texts;
}

class NamedObjectsIndexTest : public RegistryTest {
protected:
    /// Makes an entry of that name, whose object is then the address of its number.
    void create(const std::string& name) {
        registry().create_(kInt, name.c_str(), &objects_[created_.size()]);
        created_.push_back(name);
    }

    void expectAllFoundInOrder() {
        std::size_t place = 0;
        registry().forEach([&](const char* type, const char* name, bool hasObject) {
            ASSERT_LT(place, created_.size());
            EXPECT_STREQ(type, "i");
            EXPECT_EQ(name, created_[place]);
            EXPECT_TRUE(hasObject);
            ++place;
        });
        EXPECT_EQ(place, created_.size());
        for (std::size_t i = 0; i < created_.size(); ++i) {
            ASSERT_EQ(registry().find_(kInt, created_[i].c_str()), &objects_[i]) << created_[i];
            ASSERT_EQ(registry().find_(typeid(long), created_[i].c_str()), nullptr);
        }
    }

    std::vector<char> objects_ = std::vector<char>(10000);
    std::vector<std::string> created_;
};

using NamedObjectsOfManyNames = NamedObjectsIndexTest;
using NamedObjectsOfOneChecksum = NamedObjectsIndexTest;
using NamedObjectsOfMarkedTypes = NamedObjectsIndexTest;
using NamedObjectsNameText = NamedObjectsIndexTest;
using NamedObjectsWithoutRoom = NamedObjectsIndexTest;

// --- Many

TEST_F(NamedObjectsOfManyNames, AreAllFoundAndListedInTheOrderOfCreation) {
    for (int i = 0; i < 5000; ++i) create("object " + std::to_string(i * 7919 % 5000));
    expectAllFoundInOrder();
    EXPECT_EQ(registry().find_(kInt, "object 5000"), nullptr);
    EXPECT_EQ(registry().find_(kInt, "object"), nullptr);
}

TEST_F(NamedObjectsOfManyNames, AreFoundAtEveryNumberOfEntries) {
    for (int i = 0; i < 300; ++i) {
        create(std::to_string(i));
        for (int k = 0; k <= i; ++k) {
            ASSERT_EQ(registry().find_(kInt, std::to_string(k).c_str()),
                      &objects_[static_cast<std::size_t>(k)]);
        }
        ASSERT_EQ(registry().find_(kInt, std::to_string(i + 1).c_str()), nullptr);
    }
}

TEST_F(NamedObjectsOfManyNames, KeepTheirEntriesInPlace) {
    for (int i = 0; i < 20; ++i) create(std::to_string(i));
    std::vector<NamedObjectInfo*> early;
    for (int i = 0; i < 20; ++i) {
        early.push_back(registry().findInfo_(kInt, std::to_string(i).c_str()));
    }
    for (int i = 20; i < 3000; ++i) create(std::to_string(i));
    for (int i = 0; i < 20; ++i) {
        NamedObjectInfo* const entry = early[static_cast<std::size_t>(i)];
        EXPECT_EQ(registry().findInfo_(kInt, std::to_string(i).c_str()), entry);
        EXPECT_EQ(entry->name_, std::to_string(i).c_str());
        EXPECT_EQ(entry->object_, &objects_[static_cast<std::size_t>(i)]);
    }
}

TEST_F(NamedObjectsOfManyNames, OfOneKeyFindTheOldestHoweverManyCome) {
    NamedObjectInfo* const oldest = registry().addListEntry_(kInt, "same", nullptr);
    for (int i = 0; i < 500; ++i) {
        registry().addListEntry_(kInt, i % 2 ? "same" : std::to_string(i).c_str(), nullptr);
        ASSERT_EQ(registry().findInfo_(kInt, "same"), oldest);
    }
    EXPECT_EQ(listing().size(), 501u);
}

TEST_F(NamedObjectsOfManyNames, UnderManyTypesAreAllTheirOwn) {
    std::vector<std::string> types;
    for (int i = 0; i < 200; ++i) types.push_back("T" + std::to_string(i));
    for (std::size_t i = 0; i < types.size(); ++i) {
        registry().create_(NamedType(types[i].c_str()), "x", &objects_[i]);
    }
    for (std::size_t i = 0; i < types.size(); ++i) {
        EXPECT_EQ(registry().find_(NamedType(types[i].c_str()), "x"), &objects_[i]);
    }
}

TEST_F(NamedObjectsOfManyNames, FindTheOldestOfEachKeyThroughEveryGrowth) {
    constexpr int kKeys = 40;
    std::vector<NamedObjectInfo*> oldest;
    for (int round = 0; round < 20; ++round) {
        for (int i = 0; i < kKeys; ++i) {
            NamedObjectInfo* const made =
                registry().addListEntry_(kInt, std::to_string(i).c_str(), nullptr);
            if (round == 0) oldest.push_back(made);
        }
        for (int i = 0; i < kKeys; ++i) {
            ASSERT_EQ(registry().findInfo_(kInt, std::to_string(i).c_str()),
                      oldest[static_cast<std::size_t>(i)])
                << "round " << round;
        }
    }
}

TEST_F(NamedObjectsOfManyNames, UnderTypesThatTakeTurnsAreToldApart) {
    std::vector<std::string> types;
    for (int i = 0; i < 7; ++i) types.push_back("T" + std::to_string(i));
    for (std::size_t i = 0; i < 700; ++i) {
        const NamedType type(types[i * i % types.size()].c_str());
        registry().create_(type, std::to_string(i).c_str(), &objects_[i]);
    }
    for (std::size_t i = 0; i < 700; ++i) {
        for (std::size_t k = 0; k < types.size(); ++k) {
            void* const expected = k == i * i % types.size() ? &objects_[i] : nullptr;
            ASSERT_EQ(registry().find_(NamedType(types[k].c_str()), std::to_string(i).c_str()),
                      expected);
        }
    }
}

// --- One checksum

TEST_F(NamedObjectsOfOneChecksum, AreToldApartByTheTextOfTheName) {
    const std::vector<std::string> names = textsOfOneChecksum(10);
    for (const std::string& name : names) {
        ASSERT_EQ(checksumOf(name), checksumOf(names[0]));
        create(name);
    }
    expectAllFoundInOrder();
    const NamedObjectInfo* const first = registry().findInfo_(kInt, names.front().c_str());
    const NamedObjectInfo* const last = registry().findInfo_(kInt, names.back().c_str());
    EXPECT_EQ(first->nameCrc_, last->nameCrc_);
    EXPECT_NE(first->name_, last->name_);
}

TEST_F(NamedObjectsOfOneChecksum, AreToldApartByTheTextOfTheType) {
    const std::vector<std::string> types = textsOfOneChecksum(6);
    for (std::size_t i = 0; i < types.size(); ++i) {
        ASSERT_EQ(checksumOf(types[i]), checksumOf(types[0]));
        registry().create_(NamedType(types[i].c_str()), "x", &objects_[i]);
    }
    for (std::size_t i = 0; i < types.size(); ++i) {
        EXPECT_EQ(registry().find_(NamedType(types[i].c_str()), "x"), &objects_[i]);
    }
}

TEST_F(NamedObjectsOfOneChecksum, MissWhatWasNotRegistered) {
    const std::vector<std::string> names = textsOfOneChecksum(4);
    for (std::size_t i = 0; i + 1 < names.size(); ++i) create(names[i]);
    EXPECT_EQ(registry().findInfo_(kInt, names.back().c_str()), nullptr);
    expectAllFoundInOrder();
}

TEST_F(NamedObjectsOfOneChecksum, AreToldApartByTheirLengthToo) {
    const std::string name = "a name of the checksum of none: e`e`egb`feabbbbbbbbb";
    ASSERT_EQ(checksumOf(name), checksumOf(""));
    create(name);
    EXPECT_EQ(registry().findInfo_(kInt, ""), nullptr);
    create("");
    expectAllFoundInOrder();
}

// --- Marked types

TEST_F(NamedObjectsOfMarkedTypes, AreOneKeyWithAndWithoutOneMark) {
    // The standard library itself reports "*Type" as "Type", and "**Type" as "*Type".
    const NamedType plain("Type");
    const NamedType marked("**Type");
    ASSERT_STREQ(plain.name(), "Type");
    ASSERT_STREQ(marked.name(), "*Type");
    registry().create_(marked, "x", &objects_[1]);
    EXPECT_EQ(registry().find_(plain, "x"), &objects_[1]);
    const NamedObjectInfo* const entry = registry().findInfo_(plain, "x");
    EXPECT_EQ(entry->typeName_, "Type");
    EXPECT_EQ(entry->typeCrc_, checksumOf("Type"));
    registry().remove_(plain, "x");
    EXPECT_EQ(registry().find_(marked, "x"), nullptr);
    EXPECT_EQ(listing(), (Listing{{"Type", "x", false}}));
}

TEST_F(NamedObjectsOfMarkedTypes, LoseOneMarkOnly) {
    const NamedType twice("***Type");
    ASSERT_STREQ(twice.name(), "**Type");
    registry().create_(twice, "x", &objects_[1]);
    EXPECT_EQ(registry().find_(NamedType("Type"), "x"), nullptr);
    EXPECT_EQ(listing(), (Listing{{"*Type", "x", true}}));
}

TEST_F(NamedObjectsOfMarkedTypes, AreTheSameWhoeverMadeTheEntry) {
    const NamedType plain("Type");
    const NamedType marked("**Type");
    NamedObjectInfo* const entry = registry().addListEntry_(plain, "x", nullptr);
    registry().create_(marked, "x", &objects_[1]);
    EXPECT_EQ(entry->object_, &objects_[1]);
    EXPECT_TRUE(registry().lock_(marked, "x", false));
    EXPECT_FALSE(isFreeElsewhere(entry->lock_));
    registry().unlock_(plain, "x");
    EXPECT_EQ(registry().addListEntry_(marked, "y", nullptr)->typeName_, "Type");
}

TEST_F(NamedObjectsOfMarkedTypes, MayBeNothingButTheMark) {
    const NamedType nothing("");
    const NamedType mark("**");
    registry().create_(mark, "x", &objects_[1]);
    EXPECT_EQ(registry().find_(nothing, "x"), &objects_[1]);
    EXPECT_EQ(registry().findInfo_(nothing, "x")->typeCrc_, 0u);
}

TEST_F(NamedObjectsOfMarkedTypes, DoNotMakeTheMarkPartOfAName) {
    create("*x");
    EXPECT_EQ(registry().find_(kInt, "x"), nullptr);
    expectAllFoundInOrder();
}

// --- Texts

TEST_F(NamedObjectsNameText, IsComparedByteByByte) {
    for (const char* name : {"x", "X", "", " ", "x ", "xx", "\xC3\xA4", "\xC3\x84", "\xE4", "\xFF",
                             "a/b", "a\\b", "a\nb", "x\x01"}) {
        create(name);
    }
    create(std::string(10000, 'x'));
    create(std::string(10001, 'x'));
    expectAllFoundInOrder();
}

TEST_F(NamedObjectsNameText, OfRandomBytesIsFound) {
    std::mt19937 random(1);
    for (int i = 0; i < 2000; ++i) {
        std::string name = std::to_string(i) + ":"; // so that none comes twice
        for (std::size_t length = random() % 40; length > 0; --length) {
            name += static_cast<char>(random() % 255 + 1);
        }
        create(name);
    }
    expectAllFoundInOrder();
}

// --- The index asks for memory as it grows, and does without

TEST_F(NamedObjectsWithoutRoom, AreFoundWhenNoGrowthEverSucceeds) {
    for (int i = 0; i < 1000; ++i) {
        platform().calls().failFrom(kAllocate, kBlocksOfAnEntry + 1);
        const Counts made = countsOf([&, name = std::to_string(i)] {
            registry().addListEntry_(kInt, name.c_str(), &objects_[static_cast<std::size_t>(i)]);
        });
        platform().calls().succeed(kAllocate);
        ASSERT_LE(made[kAllocate], kBlocksOfAnEntry + 1);
        created_.push_back(std::to_string(i));
    }
    expectAllFoundInOrder();
}

TEST_F(NamedObjectsWithoutRoom, AreFoundWhenOneGrowthIsRefused) {
    bool refused = false;
    for (int i = 0; i < 100; ++i) {
        platform().calls().failFrom(kAllocate, kBlocksOfAnEntry + 1);
        if (refused) platform().calls().succeed(kAllocate);
        registry().addListEntry_(kInt, std::to_string(i).c_str(),
                                 &objects_[static_cast<std::size_t>(i)]);
        refused = refused || platform().calls().hasFailed(kAllocate);
        platform().calls().succeed(kAllocate);
        created_.push_back(std::to_string(i));
    }
    EXPECT_TRUE(refused);
    expectAllFoundInOrder();
}

TEST_F(NamedObjectsWithoutRoom, GetItWithTheNextEntryThatComesWhenThereIsMemoryAgain) {
    const auto add = [&](int i) {
        return countsOf([&, name = std::to_string(i)] {
            registry().addListEntry_(kInt, name.c_str(), nullptr);
        })[kAllocate];
    };
    int i = 0;
    for (bool refused = false; !refused; ++i) {
        platform().calls().failFrom(kAllocate, kBlocksOfAnEntry + 1);
        add(i);
        refused = platform().calls().hasFailed(kAllocate);
        platform().calls().succeed(kAllocate);
        ASSERT_LT(i, 1000) << "it never grows";
    }
    EXPECT_EQ(add(i), kBlocksOfAnEntry + 1) << "it grows now";
    EXPECT_EQ(add(i + 1), kBlocksOfAnEntry);
}

TEST_F(NamedObjectsWithoutRoom, FindTheOldestOfAKeyBeforeAndAfterThereIsMemoryAgain) {
    std::vector<NamedObjectInfo*> oldest;
    for (int i = 0; i < 200; ++i) {
        if (i < 100) platform().calls().failFrom(kAllocate, kBlocksOfAnEntry + 1);
        NamedObjectInfo* const made =
            registry().addListEntry_(kInt, std::to_string(i % 50).c_str(), nullptr);
        platform().calls().succeed(kAllocate);
        if (i < 50) oldest.push_back(made);
        for (int k = 0; k <= i && k < 50; ++k) {
            ASSERT_EQ(registry().findInfo_(kInt, std::to_string(k).c_str()),
                      oldest[static_cast<std::size_t>(k)])
                << i;
        }
    }
}

TEST_F(NamedObjectsWithoutRoom, AskForItRarely) {
    long allocations = 0;
    for (int i = 0; i < 4096; ++i) {
        allocations += countsOf([&, name = std::to_string(i)] {
            registry().addListEntry_(kInt, name.c_str(), nullptr);
        })[kAllocate];
    }
    EXPECT_LE(allocations - 4096 * kBlocksOfAnEntry, 12)
        << "a doubling at most for each power of 2";
    EXPECT_GE(allocations - 4096 * kBlocksOfAnEntry, 1);
}

} // namespace
