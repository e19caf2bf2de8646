#include "Platform/CoreFoundation/Object.h"
#include "Platform/CoreFoundation/PreferencesFile.h"
#include "Platform/CoreFoundation/PreferencesWrite.h"
#include "Platform/FileDescriptor.h"
#include "Platform/FileLock.h"
#include "platform/CoreFoundation/Owned.h"
#include "support/Test.h"

#include <nlohmann/json.hpp>

namespace {

namespace fs = std::filesystem;

constinit const ConstantString kDomain("test.domain");
constinit const ConstantString kOtherHost("AnyHost");

using Owned = cf::Owned<CFTypeRef>;

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

bool synchronizeInTwoSteps() {
    return platform::PreferencesWrite([] { return synchronize(); }).finish();
}

/// Type and value, "absent" when there is none.
std::string get(const std::string& key, CFStringRef host = kCFPreferencesCurrentHost) {
    const Owned value(
        CFPreferencesCopyValue(static_cast<CFStringRef>(text(key).get()), &kDomain, kCFPreferencesCurrentUser, host));
    if (!value) {
        return "absent";
    }
    if (value->kind == CFObject::Kind::String) {
        return "string " + std::string(CFStringGetCStringPtr(static_cast<CFStringRef>(value.get()), kCFStringEncodingUTF8));
    }
    if (value->kind == CFObject::Kind::Bool) {
        return value.get() == kCFBooleanTrue ? "true" : "false";
    }
    return "number " + std::to_string(static_cast<CFNumberRef>(value.get())->value);
}

/// Set while syncing a folder is to fail, as on a disk that goes away.
bool folderSyncFails = false;
/// What a power cut finds done, in its order: f for a synced file, r for a renaming, d for a synced folder.
std::string steps;

struct PreferencesStore : testing::Test {
    PreferencesStore() { ::setenv("XDG_CONFIG_HOME", (folder / "config").c_str(), 1); }

    std::string file() const { return folder / "config/corvane/test.domain.json"; }
    void writeFile(const std::string& content) const {
        fs::create_directories(fs::path(file()).parent_path());
        support::writeFile(file(), content);
    }
    support::TempFolder folder;
};

TEST_F(PreferencesStore, KeepsTypesKeysUsersAndHosts) {
    EXPECT_EQ(get("Flag"), "absent");
    EXPECT_TRUE(synchronize());
    EXPECT_FALSE(fs::exists(folder / "config")) << "reading makes nothing";

    set("Flag", kCFBooleanTrue);
    set("Off", kCFBooleanFalse);
    set("Least", number(INT64_MIN).get());
    set("Text", text("caf\xC3\xA9 \"1\"\n").get());
    set("Flag", number(7).get(), &kOtherHost);
    EXPECT_EQ(get("Flag"), "true") << "staged values are read back";
    EXPECT_FALSE(fs::exists(file()));
    ASSERT_TRUE(synchronize());
    ASSERT_TRUE(synchronize(&kOtherHost));

    struct stat status {};
    ASSERT_EQ(::stat((folder / "config/corvane").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0700U);
    EXPECT_EQ(get("Flag"), "true");
    EXPECT_EQ(get("Off"), "false");
    EXPECT_EQ(get("Least"), "number -9223372036854775808");
    EXPECT_EQ(get("Text"), "string caf\xC3\xA9 \"1\"\n");
    EXPECT_EQ(get("Flag", &kOtherHost), "number 7");
    EXPECT_EQ(get("Off", &kOtherHost), "absent");
    set("Off", nullptr);
    steps.clear();
    ASSERT_TRUE(synchronize());
    EXPECT_EQ(steps, "frd") << "the file's content before its name";
    EXPECT_EQ(get("Off"), "absent");
    set("Off", kCFBooleanTrue);
    steps.clear();
    platform::PreferencesWrite write([] { return synchronize(); });
    EXPECT_EQ(steps + ", " + get("Off"), "f, absent") << "a step that waits for one sync";
    ASSERT_TRUE(write.finish());
    EXPECT_EQ(steps + ", " + get("Off"), "frd, true");
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

TEST_F(PreferencesStore, LiesWhereTheEnvironmentAndSymbolicLinksSay) {
    const std::string link = folder / "home/.config/corvane/test.domain.json";
    fs::create_directories(fs::path(link).parent_path());
    fs::create_symlink("one.json", link);
    fs::create_symlink(folder / "two.json", folder / "home/.config/corvane/one.json");
    ::setenv("XDG_CONFIG_HOME", "relative", 1);
    ::setenv("HOME", (folder / "home").c_str(), 1);
    set("k", kCFBooleanTrue);
    EXPECT_TRUE(synchronize());
    EXPECT_TRUE(fs::is_symlink(link) && fs::is_regular_file(folder / "two.json"));
    ::unsetenv("XDG_CONFIG_HOME");
    EXPECT_EQ(get("k"), "true");
    ::unsetenv("HOME");
    set("k", kCFBooleanFalse);
    EXPECT_FALSE(synchronize());
    EXPECT_EQ(get("k"), "absent") << "what was refused is forgotten";
    const std::pair<const char*, const char*> kRefused[] = {{"/proc/nowhere", "its folder can't be made: "},
                                                            {folder.path().c_str(), "can't hold more than 1048576 bytes\n"}};
    for (const auto& [place, sentence] : kRefused) {
        ::setenv("XDG_CONFIG_HOME", place, 1);
        testing::internal::CaptureStderr();
        set("k", text(std::string(1 << 20, 'x')).get());
        EXPECT_FALSE(synchronize());
        EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr(sentence));
    }
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
        EXPECT_EQ(support::readFile(aside), damage);
        ++asides;
    }
}

void limitFiles(rlim_t size) {
    const rlimit limit{size, RLIM_INFINITY};
    ::signal(SIGXFSZ, SIG_IGN);
    ::setrlimit(RLIMIT_FSIZE, &limit);
}

struct Obstacle {
    const char* what;
    std::string sentence;  ///< what is said of it, in part
    std::function<void(const std::string& file)> put;
    std::function<void(const std::string& file)> remove = [](const std::string& file) { fs::remove(file); };
};

TEST_F(PreferencesStore, RefusesInASentenceWhatItCanNotRead) {
    const Obstacle obstacles[] = {
        {"a FIFO", "not a regular file", [](const std::string& file) { ::mkfifo(file.c_str(), 0600); }},
        {"a device", "not a regular file", [](const std::string& file) { fs::create_symlink("/dev/zero", file); }},
        {"a folder", "not a regular file", [](const std::string& file) { fs::create_directory(file); }},
        {"a link to itself", "symbolic links", [](const std::string& file) { fs::create_symlink(file, file); }},
        {"one byte too many", "larger than 1048576 bytes",
         [](const std::string& file) { support::writeFile(file, "{}" + std::string((1 << 20) - 1, ' ')); }},
    };
    fs::create_directories(fs::path(file()).parent_path());
    for (const auto& [what, sentence, put, remove] : obstacles) {
        SCOPED_TRACE(what);
        put(file());
        testing::internal::CaptureStderr();
        EXPECT_EQ(get("k"), "absent");
        EXPECT_FALSE(synchronize()) << "nothing was set, but the file can't be read";
        set("k", kCFBooleanTrue);
        EXPECT_FALSE(synchronize());
        const auto said = testing::internal::GetCapturedStderr();
        EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 3) << said;
        EXPECT_NE(said.find(sentence), std::string::npos) << said;
        remove(file());
    }
    writeFile("{}" + std::string((1 << 20) - 2, ' '));
    EXPECT_TRUE(synchronize()) << "as large as a file may be";
}

TEST_F(PreferencesStore, AFailedSetLeavesNoTrace) {
    std::unique_ptr<platform::FileLock> holder;
    const Obstacle obstacles[] = {
        {"the new file can't be made", "can't be written: File exists",
         [](const std::string& file) { fs::create_directory(file + ".new"); },
         [](const std::string& file) { fs::remove(file + ".new"); }},
        {"the lock can't be made", ".lock: Is a directory",
         [](const std::string& file) {
             fs::remove(file + ".lock");
             fs::create_directory(file + ".lock");
         },
         [](const std::string& file) { fs::remove(file + ".lock"); }},
        {"the lock is held", "another process holds /",
         [&holder](const std::string& file) {
             holder = std::make_unique<platform::FileLock>(file + ".lock", std::chrono::milliseconds(0));
         },
         [&holder](const std::string&) { holder.reset(); }},
        {"its folder can't be synced", "can't be written: Input/output error", [](const std::string&) { folderSyncFails = true; },
         [](const std::string&) { folderSyncFails = false; }},
        {"the disk is full", "can't be written: File too large", [](const std::string&) { limitFiles(100); },
         [](const std::string&) { limitFiles(RLIM_INFINITY); }},
    };
    set("k", text("old").get());
    ASSERT_TRUE(synchronize());
    auto old = support::readFile(file());
    for (const auto& [what, sentence, put, remove] : obstacles) {
        SCOPED_TRACE(what);
        set("k", text(std::string(10'000, 'n')).get());
        put(file());
        testing::internal::CaptureStderr();
        EXPECT_FALSE(synchronizeInTwoSteps());
        remove(file());
        const auto said = testing::internal::GetCapturedStderr();
        EXPECT_NE(said.find(sentence), std::string::npos) << said;
        EXPECT_EQ(get("k"), "string old");
        EXPECT_EQ(support::readFile(file()), old);
        set(what, kCFBooleanTrue);
        ASSERT_TRUE(synchronize());
        EXPECT_EQ(get("k"), "string old") << "another change does not write it either";
        old = support::readFile(file());
    }
}

TEST_F(PreferencesStore, EightWritersLoseNothing) {
    constexpr int kWriters = 8;
    constexpr int kWrites = 40;
    for (int writer = 0; writer < kWriters; ++writer) {
        if (::fork() == 0) {
            for (int write = 0; write < kWrites; ++write) {
                do {  // again, when the others had the lock for longer than it is waited for
                    set(std::to_string(writer * kWrites + write), kCFBooleanTrue);
                } while (!(write % 2 == 0 ? synchronize() : synchronizeInTwoSteps()));
            }
            ::_exit(0);
        }
    }
    while (::wait(nullptr) > 0) {
    }
    const auto tree = nlohmann::json::parse(support::readFile(file()));
    EXPECT_EQ(tree["CurrentUser"]["CurrentHost"].size(), kWriters * kWrites);
}

}  // namespace

/// In place of the C library's: waiting for a disk thousands of times would take minutes.
extern "C" int fsync(int descriptor) {
    struct stat status {};
    const bool isFolder = ::fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode);
    steps += isFolder ? 'd' : 'f';
    errno = EIO;
    return isFolder && folderSyncFails ? -1 : 0;
}
extern "C" int rename(const char* from, const char* to) noexcept {
    steps += 'r';
    return ::renameat(AT_FDCWD, from, AT_FDCWD, to);
}
