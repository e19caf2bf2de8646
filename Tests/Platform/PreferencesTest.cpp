#include "Platform/CoreFoundation/ConstantString.h"
#include "Platform/CoreFoundation/PreferencesFile.h"
#include "Platform/FileDescriptor.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <functional>
#include <memory>
#include <thread>

namespace {

namespace fs = std::filesystem;

constinit const platform::ConstantString kDomain("test.domain");

struct Release {
    void operator()(CFTypeRef object) const { CFRelease(object); }
};
using Owned = std::unique_ptr<const CFObject, Release>;

Owned text(const std::string& value) {
    return Owned(CFStringCreateWithCString(kCFAllocatorDefault, value.c_str(), kCFStringEncodingUTF8));
}

Owned number(std::int64_t value) {
    return Owned(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &value));
}

void set(const std::string& key, CFPropertyListRef value, CFStringRef host = kCFPreferencesCurrentHost) {
    CFPreferencesSetValue(static_cast<CFStringRef>(text(key).get()), value, &kDomain, kCFPreferencesCurrentUser, host);
}

bool synchronize(CFStringRef host = kCFPreferencesCurrentHost) {
    return CFPreferencesSynchronize(&kDomain, kCFPreferencesCurrentUser, host) != 0;
}

/// Type and value, "absent" when there is none.
std::string get(const std::string& key, CFStringRef host = kCFPreferencesCurrentHost) {
    const Owned value(
        CFPreferencesCopyValue(static_cast<CFStringRef>(text(key).get()), &kDomain, kCFPreferencesCurrentUser, host));
    if (!value) {
        return "absent";
    }
    switch (value->kind) {
        case CFObject::Kind::String:
            return "string " + std::string(CFStringGetCStringPtr(static_cast<CFStringRef>(value.get()), kCFStringEncodingUTF8));
        case CFObject::Kind::Bool:
            return CFBooleanGetValue(static_cast<CFBooleanRef>(value.get())) != 0 ? "true" : "false";
        case CFObject::Kind::Number:
            break;
    }
    std::int64_t held = 0;
    EXPECT_TRUE(CFNumberGetValue(static_cast<CFNumberRef>(value.get()), kCFNumberSInt64Type, &held));
    return "number " + std::to_string(held);
}

/// Runs `body` in a process of its own. @return its id
pid_t inChild(const std::function<int()>& body) {
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::_exit(body());
    }
    return pid;
}

/// The child's exit status, or minus the signal that ended it.
int waitFor(pid_t pid) {
    int status = 0;
    EXPECT_EQ(::waitpid(pid, &status, 0), pid);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

/// A folder in memory where there is one, since syncing to a disk thousands of times takes minutes.
struct StoreFolder {
    StoreFolder() {
        const auto inMemory = fs::path("/dev/shm") / temp.path().filename();
        std::error_code failed;
        path = fs::create_directory(inMemory, failed) ? inMemory : temp.path();
    }
    StoreFolder(const StoreFolder&) = delete;
    StoreFolder& operator=(const StoreFolder&) = delete;
    ~StoreFolder() {
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }
    std::string operator/(const char* name) const { return path / name; }

    support::TempFolder temp;
    fs::path path;
};

struct PreferencesStore : testing::Test {
    PreferencesStore() { ::setenv("XDG_CONFIG_HOME", (folder / "config").c_str(), 1); }

    std::string file() const { return folder / "config/corvane/test.domain.json"; }
    void writeFile(const std::string& content) const {
        fs::create_directories(fs::path(file()).parent_path());
        support::writeFile(file(), content);
    }
    StoreFolder folder;
};

TEST_F(PreferencesStore, KeepsTypesKeysUsersAndHosts) {
    EXPECT_EQ(get("Flag"), "absent");
    EXPECT_TRUE(synchronize());
    EXPECT_FALSE(fs::exists(folder / "config")) << "reading makes nothing";

    set("Flag", kCFBooleanTrue);
    set("Off", kCFBooleanFalse);
    set("One", number(1).get());
    set("Least", number(INT64_MIN).get());
    set("Text", text("caf\xC3\xA9 \"1\"\n").get());
    set("Flag", number(7).get(), kCFPreferencesAnyHost);
    EXPECT_EQ(get("Flag"), "true") << "staged values are read back";
    EXPECT_FALSE(fs::exists(file()));
    ASSERT_TRUE(synchronize());
    EXPECT_EQ(get("Flag", kCFPreferencesAnyHost), "number 7");
    ASSERT_TRUE(synchronize(kCFPreferencesAnyHost));

    struct stat status {};
    ASSERT_EQ(::stat((folder / "config/corvane").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0700U);
    const std::pair<const char*, const char*> expected[] = {{"Flag", "true"},
                                                            {"Off", "false"},
                                                            {"One", "number 1"},
                                                            {"Least", "number -9223372036854775808"},
                                                            {"Text", "string caf\xC3\xA9 \"1\"\n"}};
    for (const auto& [key, value] : expected) {
        EXPECT_EQ(get(key), value);
    }
    EXPECT_EQ(get("Flag", kCFPreferencesAnyHost), "number 7");
    EXPECT_EQ(get("One", kCFPreferencesAnyHost), "absent");
    set("One", nullptr);
    EXPECT_EQ(get("One"), "absent");
    ASSERT_TRUE(synchronize());
    EXPECT_EQ(get("One"), "absent");
    EXPECT_FALSE(text("not UTF-8 \xFF"));
}

TEST_F(PreferencesStore, TakesValuesOfOtherTypesForAbsentAndLeavesThemInTheFile) {
    writeFile(R"({"CurrentUser": {"CurrentHost": {"a": 1.0, "b": null, "c": [1], "d": 9223372036854775808, "e": {}}}, "x": {}})");
    for (const char* key : {"a", "b", "c", "d", "e"}) {
        EXPECT_EQ(get(key), "absent");
    }
    set("a", number(1).get());
    set("f", kCFBooleanTrue);
    ASSERT_TRUE(synchronize());
    EXPECT_EQ(nlohmann::json::parse(support::readFile(file())).dump(),
              R"({"CurrentUser":{"CurrentHost":{"a":1,"b":null,"c":[1],"d":9223372036854775808,"e":{},"f":true}},"x":{}})");
}

TEST_F(PreferencesStore, LiesWhereTheEnvironmentSays) {
    ::setenv("XDG_CONFIG_HOME", "relative", 1);
    ::setenv("HOME", (folder / "home").c_str(), 1);
    set("k", kCFBooleanTrue);
    EXPECT_TRUE(synchronize());
    EXPECT_TRUE(fs::exists(folder / "home/.config/corvane/test.domain.json"));
    ::unsetenv("XDG_CONFIG_HOME");
    EXPECT_EQ(get("k"), "true");
    ::unsetenv("HOME");
    set("k", kCFBooleanFalse);
    EXPECT_FALSE(synchronize());
    EXPECT_EQ(get("k"), "false") << "what could not be written stays staged";
    ::setenv("HOME", (folder / "home").c_str(), 1);
    EXPECT_TRUE(synchronize());
}

TEST_F(PreferencesStore, SetsADamagedFileAside) {
    const std::string damages[] = {"",
                                   "{",
                                   "[]",
                                   R"({"CurrentUser": 5})",
                                   R"({"CurrentUser": {"CurrentHost": true}})",
                                   "\xFF",
                                   R"({"a": {"b": {"c": )" + std::string(200'000, '[') + std::string(200'000, ']') + "}}}"};
    std::size_t asides = 0;
    for (const auto& damage : damages) {
        writeFile(damage);
        testing::internal::CaptureStderr();
        if (asides % 2 == 0) {
            EXPECT_EQ(get("k"), "absent");
        } else {
            set("k", number(static_cast<std::int64_t>(asides)).get());
            EXPECT_TRUE(synchronize());
            EXPECT_EQ(get("k"), "number " + std::to_string(asides));
        }
        const auto aside = file() + ".damaged" + (asides == 0 ? "" : "." + std::to_string(asides + 1));
        EXPECT_EQ(testing::internal::GetCapturedStderr(), file() + ": damaged; it was set aside as " + aside + "\n");
        ASSERT_TRUE(fs::exists(aside));
        EXPECT_EQ(support::readFile(aside), damage);
        ++asides;
    }
}

TEST_F(PreferencesStore, AFailedWriteLeavesTheOldFileWholeAndTheValueStaged) {
    set("k", text("old").get());
    ASSERT_TRUE(synchronize());
    const auto old = support::readFile(file());
    set("k", text(std::string(10'000, 'n')).get());

    fs::create_directory(file() + ".new");
    EXPECT_FALSE(synchronize());
    fs::remove(file() + ".new");
    fs::rename(file() + ".lock", folder / "lock");
    fs::create_directory(file() + ".lock");
    EXPECT_FALSE(synchronize());
    fs::remove(file() + ".lock");
    // A disk that is full after the first bytes.
    EXPECT_EQ(waitFor(inChild([] {
                  const rlimit limit{100, 100};
                  ::signal(SIGXFSZ, SIG_IGN);
                  return ::setrlimit(RLIMIT_FSIZE, &limit) == 0 && !synchronize() ? 0 : 1;
              })),
              0);
    if (::geteuid() != 0) {
        fs::permissions(fs::path(file()).parent_path(), fs::perms::owner_read | fs::perms::owner_exec);
        EXPECT_FALSE(synchronize());
        fs::permissions(fs::path(file()).parent_path(), fs::perms::owner_all);
    }
    EXPECT_EQ(support::readFile(file()), old);
    EXPECT_EQ(get("k").size(), std::string("string ").size() + 10'000);
    EXPECT_TRUE(synchronize());
    EXPECT_NE(support::readFile(file()), old);
}

TEST_F(PreferencesStore, EightWritersLoseNothing) {
    constexpr int kWriters = 8;
    constexpr int kWrites = 1'000;
    constexpr int kKeys = 2;  // written in turn: while one is written, the others write over the other
    std::vector<pid_t> writers;
    writers.reserve(kWriters);
    for (int writer = 0; writer < kWriters; ++writer) {
        writers.push_back(inChild([writer] {
            const auto key = [&](int write) { return std::to_string(writer) + "." + std::to_string(write % kKeys); };
            for (int write = 0; write < kWrites; ++write) {
                set(key(write), number(write).get());
                const bool kept = write < kKeys || get(key(write - 1)) == "number " + std::to_string(write - 1);
                if (!kept || !synchronize()) {
                    return 1;
                }
            }
            return 0;
        }));
    }
    for (const pid_t writer : writers) {
        EXPECT_EQ(waitFor(writer), 0);
    }
    for (int writer = 0; writer < kWriters; ++writer) {
        for (int key = 0; key < kKeys; ++key) {
            EXPECT_EQ(get(std::to_string(writer) + "." + std::to_string(key)), "number " + std::to_string(kWrites - kKeys + key));
        }
    }
}

/// Writes 0, 1, 2, ... each as 2,000 digits, and acknowledges each on `acknowledged`.
int writeForever(int acknowledged) {
    for (int value = 0;; ++value) {
        set("k", text(std::string(2'000, static_cast<char>('0' + value % 10)) + std::to_string(value)).get());
        if (!synchronize() || ::write(acknowledged, "", 1) != 1) {
            return 1;
        }
    }
}

TEST_F(PreferencesStore, AKilledWriterLeavesTheOldValueOrTheNew) {
    for (int round = 0; round < 40; ++round) {
        int pipe[2] = {-1, -1};
        ASSERT_EQ(::pipe(pipe), 0);
        const platform::FileDescriptor read(pipe[0]);
        platform::FileDescriptor write(pipe[1]);
        const pid_t writer = inChild([&] { return writeForever(write.get()); });
        write = platform::FileDescriptor();
        char byte = 0;
        int acknowledged = 0;
        while (acknowledged <= round % 7 && ::read(read.get(), &byte, 1) == 1) {
            ++acknowledged;
        }
        // How often this process gives way decides where in its next write the signal strikes the other.
        for (int turn = 0; turn < round % 10; ++turn) {
            std::this_thread::yield();
        }
        ::kill(writer, SIGKILL);
        ASSERT_EQ(waitFor(writer), -SIGKILL);
        while (::read(read.get(), &byte, 1) == 1) {
            ++acknowledged;
        }
        ASSERT_TRUE(platform::parsePreferences(support::readFile(file())));
        const auto value = get("k").substr(std::string("string ").size() + 2'000);
        EXPECT_TRUE(value == std::to_string(acknowledged - 1) || value == std::to_string(acknowledged)) << value;
    }
    EXPECT_FALSE(fs::exists(file() + ".damaged"));
}

}  // namespace
