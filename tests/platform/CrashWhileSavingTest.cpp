// What is left of a settings file when the process that saves over it dies, or the disk is full: a
// whole old one or a whole new one.

#include "Vq/String.h"
#include "Vq/VqIniFile.h"

#include "support/ChildProcess.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <random>
#include <string>
#include <thread>

#include <sched.h>
#include <sys/mount.h>
#include <sys/statvfs.h>

namespace {

using namespace vqtest;
using Narrow = LightweightString<char>;

constexpr char kName[] = "settings.ini";
constexpr int kKeys = 2000;

LightweightString<wchar_t> wide(const std::filesystem::path& path) {
    return fromUTF8(Narrow(path.c_str()));
}

// A model in which every value is the generation, so that any mixture shows.
VqIniFile modelOf(int generation, int keys = kKeys) {
    VqIniFile ini(true);
    const Narrow value = StringFromInteger(generation);
    for (int i = 0; i < keys; ++i) {
        const Vq::AttribValuePair pair("key" + StringFromInteger(i), value, '=');
        ini[i % 2 == 0 ? "Even" : "Odd"].push_back(pair);
    }
    return ini;
}

// The generation that every line of the file has; below 0 when it is not a whole file of one.
int generationIn(const std::filesystem::path& path) {
    VqIniFile ini(true);
    if (!ini.load(wide(path), '\n') || ini.getNumSections() != 2) return -1;
    const int generation = std::atoi(ini["Even"].begin()->value().c_str());
    for (const char* section : {"Even", "Odd"}) {
        if (ini[section].size() != kKeys / 2) return -1;
        for (const Vq::AttribValuePair& pair : ini[section]) {
            if (pair.value() != StringFromInteger(generation)) return -1;
        }
    }
    return generation;
}

class CrashWhileSaving : public ::testing::Test {
protected:
    CrashWhileSaving() { EXPECT_TRUE(modelOf(0).saveAll(wide(folder_ / kName))); }

    // Saves the next generations over the file until it is killed, which comes at a random moment
    // after the first of them was begun. Returns the last that was known to be saved.
    int saveUntilKilled() {
        Shared<std::atomic<int>> begun, saved;
        const int first = next_;
        {
            const ChildProcess child([&] {
                for (int generation = first;; ++generation) {
                    const VqIniFile model = modelOf(generation);
                    *begun = generation;
                    if (!VqIniFile(model).saveAll(wide(folder_ / kName))) return 1;
                    *saved = generation;
                }
            });
            while (*begun == 0) std::this_thread::yield();
            std::this_thread::sleep_for(std::chrono::microseconds(random_() % 4000));
        }
        next_ = *begun + 1;
        return *saved;
    }

    // Removes what a killed save left, which is one file at the most, and says how many there were.
    std::size_t removeLitter() {
        std::size_t removed = 0;
        for (const std::string& name : folder_.names()) {
            if (name == kName) continue;
            std::filesystem::remove(folder_ / name);
            ++removed;
        }
        return removed;
    }

    TemporaryFolder folder_;
    std::mt19937 random_{20261121};
    int next_ = 1;
};

TEST_F(CrashWhileSaving, LeavesAWholeOldOrAWholeNewFile) {
    constexpr int kKills = 300;
    int interrupted = 0;
    for (int kill = 0; kill < kKills; ++kill) {
        const int known = saveUntilKilled();
        const int generation = generationIn(folder_ / kName);
        ASSERT_GE(generation, known) << "kill " << kill;
        ASSERT_LT(generation, next_) << "kill " << kill;
        const std::size_t litter = removeLitter();
        ASSERT_LE(litter, 1u) << "kill " << kill;
        interrupted += static_cast<int>(litter);
    }
    // Otherwise the kills did not come while a file was being written.
    EXPECT_GT(interrupted, 0);
    std::printf("%d of %d kills came while a file was being written\n", interrupted, kKills);
}

TEST_F(CrashWhileSaving, LeavesNoLitterWhenItIsNotInterrupted) {
    saveUntilKilled();
    removeLitter();
    ASSERT_TRUE(modelOf(next_).saveAll(wide(folder_ / kName)));
    EXPECT_EQ(folder_.names(), std::set<std::string>{kName});
    EXPECT_EQ(generationIn(folder_ / kName), next_);
}

TEST_F(CrashWhileSaving, DoesNotHinderTheNextSave) {
    for (int kill = 0; kill < 5; ++kill) saveUntilKilled(); // and all their litter stays
    ASSERT_TRUE(modelOf(next_).saveAll(wide(folder_ / kName)));
    EXPECT_EQ(generationIn(folder_ / kName), next_);
}

// Does what a small file system of its own allows: 0 when the old file is whole and alone after a
// save that did not fit, 1 when not, 2 when this machine gives a process no file system.
int saveOntoAFullFileSystem(const std::filesystem::path& folder) {
    if (unshare(CLONE_NEWNS) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return 2;
    mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr); // the mount is for this process
    if (mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=128k") != 0) return 2;
    const std::filesystem::path file = folder / kName;
    if (!modelOf(1).saveAll(wide(file))) return 1;
    const bool saved = modelOf(2, 20000).saveAll(wide(file));
    const auto entries = std::distance(std::filesystem::directory_iterator(folder), {});
    return !saved && generationIn(file) == 1 && entries == 1 ? 0 : 1;
}

TEST(FullFileSystem, KeepsTheOldFileAndNoOther) {
    TemporaryFolder mountPoint;
    ChildProcess child([&] { return saveOntoAFullFileSystem(mountPoint.path()); });
    ASSERT_TRUE(child.endsWithin(std::chrono::seconds(60)));
    // Where there is no file system to be had, the limit on a file's size has been tested instead.
    EXPECT_NE(child.exitCode(), 1);
    EXPECT_GE(child.exitCode(), 0);
    if (child.exitCode() == 2) std::printf("this machine gives a process no file system\n");
}

} // namespace
