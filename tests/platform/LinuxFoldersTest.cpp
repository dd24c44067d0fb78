#include "OS/LinuxPlatform.h"
#include "Vq/Platform.h"
#include "platform/NoMoreAddressSpace.h"
#include "support/StartGate.h"

#include <cstddef>
#include <cstdlib>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

namespace {

/// Gives an environment variable a value, or none, for the length of a test.
class Variable {
public:
    Variable(const char* name, const char* value) : name_(name) {
        if (const char* before = std::getenv(name)) before_ = before;
        set(value);
    }
    ~Variable() { set(before_ ? before_->c_str() : nullptr); }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;

private:
    void set(const char* value) const {
        if (value) {
            setenv(name_, value, 1);
        } else {
            unsetenv(name_);
        }
    }

    const char* name_;
    std::optional<std::string> before_;
};

class LinuxFolders : public ::testing::Test {
protected:
    ~LinuxFolders() override {
        for (const int kind : {-1, 3, 4, 5}) setFolder(kind, nullptr);
    }

    static LightweightString<wchar_t> folder(int kind = 4) {
        return OS()->folders()->getFolder(kind);
    }
};

TEST_F(LinuxFolders, KeepDataWhereXdgSays) {
    const Variable data("XDG_DATA_HOME", "/data/\xC3\xA4");
    const Variable home("HOME", "/home/me");
    EXPECT_EQ(folder(), L"/data/\u00E4/");
}

TEST_F(LinuxFolders, KeepDataBelowTheHomeOtherwise) {
    const Variable data("XDG_DATA_HOME", nullptr);
    const Variable home("HOME", "/home/me");
    EXPECT_EQ(folder(), L"/home/me/.local/share/");
}

TEST_F(LinuxFolders, PassOverWhatIsNoAbsolutePath) {
    for (const char* value : {"", "relative", "./here", "~/data"}) {
        const Variable data("XDG_DATA_HOME", value);
        const Variable home("HOME", "/home/me/");
        EXPECT_EQ(folder(), L"/home/me/.local/share/");
    }
}

TEST_F(LinuxFolders, AskThePasswordDatabaseLast) {
    const passwd* entry = getpwuid(getuid());
    const std::string home = entry ? entry->pw_dir : "/";
    const std::string expected = home + (home.back() == '/' ? "" : "/") + ".local/share/";
    for (const char* value : {static_cast<const char*>(nullptr), "", "relative"}) {
        const Variable data("XDG_DATA_HOME", nullptr);
        const Variable variable("HOME", value);
        EXPECT_EQ(OS()->utils()->toUTF8(folder()), expected.c_str());
    }
}

TEST_F(LinuxFolders, EndInOneSeparator) {
    setFolder(4, "/a");
    EXPECT_EQ(folder(), L"/a/");
    setFolder(4, "/a/");
    EXPECT_EQ(folder(), L"/a/");
    setFolder(4, "/");
    EXPECT_EQ(folder(), L"/");
    setFolder(4, "relative");
    EXPECT_EQ(folder(), L"relative/");
    const Variable data("XDG_DATA_HOME", "/data/");
    setFolder(4, nullptr);
    EXPECT_EQ(folder(), L"/data/");
}

TEST_F(LinuxFolders, AreSetForEachKind) {
    setFolder(3, "/three");
    setFolder(4, "/four/\xE2\x82\xAC");
    setFolder(-1, "/minus");
    EXPECT_EQ(folder(3), L"/three/");
    EXPECT_EQ(folder(4), L"/four/\u20AC/");
    EXPECT_EQ(folder(-1), L"/minus/");
    setFolder(3, "/other");
    EXPECT_EQ(folder(3), L"/other/");
}

TEST_F(LinuxFolders, AreThatOfTheDataWhereNoneIsSet) {
    const Variable data("XDG_DATA_HOME", "/data");
    EXPECT_EQ(folder(5), L"/data/");
    setFolder(4, "/four");
    EXPECT_EQ(folder(5), L"/four/");
}

TEST_F(LinuxFolders, ReturnToTheDefaultWithNullAndTheEmptyText) {
    const Variable data("XDG_DATA_HOME", "/data");
    for (const char* none : {static_cast<const char*>(nullptr), ""}) {
        setFolder(4, "/four");
        setFolder(4, none);
        EXPECT_EQ(folder(4), L"/data/");
    }
}

TEST_F(LinuxFolders, AreCopiedFromTheCallersText) {
    std::string path = "/four";
    setFolder(4, path.c_str());
    path = "/xxxx";
    EXPECT_EQ(folder(4), L"/four/");
}

TEST_F(LinuxFolders, StayAsTheyWereWhereMemoryRunsOut) {
    setFolder(3, "/before");
    const std::string path = '/' + std::string(std::size_t{64} << 20, 'n');
    {
        const vqtest::NoMoreAddressSpace limit;
        EXPECT_THROW(setFolder(3, path.c_str()), std::bad_alloc);
        EXPECT_THROW(setFolder(5, path.c_str()), std::bad_alloc);
    }
    EXPECT_EQ(folder(3), L"/before/");
    setFolder(4, "/four");
    EXPECT_EQ(folder(5), L"/four/");
}

TEST_F(LinuxFolders, MayBeSetAndReadOnSeveralThreads) {
    setFolder(4, "/first");
    constexpr int kThreads = 4;
    vqtest::StartGate gate(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            gate.wait();
            for (int i = 0; i < 300; ++i) {
                setFolder(4, i % 2 == 0 ? "/first" : "/second");
                setFolder(100 + t, "/mine");
                const auto now = folder(4);
                EXPECT_TRUE(now == L"/first/" || now == L"/second/");
                EXPECT_EQ(folder(100 + t), L"/mine/");
            }
            setFolder(100 + t, nullptr);
        });
    }
    for (std::thread& thread : threads) thread.join();
}

} // namespace
