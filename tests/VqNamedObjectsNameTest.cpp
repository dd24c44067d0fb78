// Names of one checksum whose lengths lie on both sides of what an entry compares by itself.

#include "Vq/System.h"
#include "Vq/VqNamedObjects.h"
#include "support/RegistryTest.h"

#include <cstddef>
#include <string>
#include <vector>

namespace {

using namespace vqtest;

/// A text of checksum 0: the polynomial laid over the five bytes from each of the first `count`,
/// four of which give no zero byte.
std::string textOfNone(std::size_t count) {
    constexpr char kPolynomial[] = {0x01, 0x00, 0x00, 0x68, 0x01};
    std::string text(count + 4, '\0');
    for (std::size_t i = 0; i < count; ++i) {
        for (std::size_t k = 0; k < sizeof kPolynomial; ++k) {
            text[i + k] = static_cast<char>(text[i + k] ^ kPolynomial[k]);
        }
    }
    return text;
}

/// The empty text, one of each length, and some that begin with another whole one.
std::vector<std::string> namesOfOneChecksum() {
    std::vector<std::string> names{""};
    for (std::size_t count = 4; count <= 40; ++count) names.push_back(textOfNone(count));
    for (const std::size_t count : {8u, 18u, 19u, 20u, 21u, 22u, 30u}) {
        names.push_back(textOfNone(count) + textOfNone(count));
        names.push_back(names.back() + textOfNone(4));
    }
    return names;
}

class NamedObjectsNames : public RegistryTest {
protected:
    /// Which of `names` an entry is found for.
    std::vector<std::string> foundOf(const std::vector<std::string>& names) {
        std::vector<std::string> found;
        for (const std::string& name : names) {
            const NamedObjectInfo* const entry = registry().findInfo_(typeid(int), name.c_str());
            if (!entry) continue;
            EXPECT_EQ(entry->name_, name.c_str());
            found.push_back(name);
        }
        return found;
    }

    std::vector<std::string> names_ = namesOfOneChecksum();
};

TEST_F(NamedObjectsNames, OfOneChecksumAreToldApartAtEveryLength) {
    std::vector<std::string> made;
    for (const std::string& name : names_) {
        ASSERT_EQ(name.find('\0'), name.npos);
        ASSERT_EQ(Vq::CRC::CalculateCRC32ForBlock(name.data(), name.size()), 0U);
        registry().addListEntry_(typeid(int), name.c_str(), nullptr);
        made.push_back(name);
        ASSERT_EQ(foundOf(names_), made);
    }
}

TEST_F(NamedObjectsNames, AreNotFoundByWhatTheyBeginWith) {
    std::vector<std::string> made;
    for (auto name = names_.rbegin(); name != names_.rend(); ++name) {
        registry().addListEntry_(typeid(int), name->c_str(), nullptr);
        made.insert(made.begin(), *name);
        ASSERT_EQ(foundOf(names_), made);
    }
}

} // namespace
