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

/// What a power cut finds done, in its order: f for a synced file, r for a renaming, d for a synced folder.
std::string steps;
/// The one of them that is to fail, as on a disk that goes away.
char failing = 0;

struct PreferencesStore : testing::Test {
    PreferencesStore() { ::setenv("XDG_CONFIG_HOME", (folder / "c/d").c_str(), 1); }

    std::string file() const { return folder / "c/d/corvane/test.domain.json"; }
    void writeFile(const std::string& content) const {
        fs::create_directories(fs::path(file()).parent_path());
        support::writeFile(file(), content);
    }
    support::TempFolder folder;
};

TEST_F(PreferencesStore, KeepsTypesKeysUsersAndHosts) {
    EXPECT_EQ(get("Flag"), "absent");
    EXPECT_TRUE(synchronize());
    EXPECT_FALSE(fs::exists(folder / "c")) << "reading makes nothing";

    set("Flag", kCFBooleanTrue);
    set("Off", kCFBooleanFalse);
    set("Least", number(INT64_MIN).get());
    set("Text", text("caf\xC3\xA9 \"1\"\n").get());
    set("Flag", number(INT64_MAX).get(), &kOtherHost);
    EXPECT_EQ(get("Flag"), "true") << "staged values are read back";
    EXPECT_FALSE(fs::exists(file()));
    ASSERT_TRUE(synchronize());
    ASSERT_TRUE(synchronize(&kOtherHost));

    EXPECT_EQ(fs::status(folder / "c/d/corvane").permissions(), fs::perms(0700));
    EXPECT_EQ(fs::status(file()).permissions(), fs::perms(0600));
    EXPECT_EQ(get("Flag") + get("Off") + get("Least"), "truefalsenumber -9223372036854775808");
    EXPECT_EQ(get("Text"), "string caf\xC3\xA9 \"1\"\n");
    EXPECT_EQ(get("Flag", &kOtherHost), "number 9223372036854775807");
    EXPECT_EQ(get("Off", &kOtherHost), "absent");
    steps.clear();
    for (int times = 0; times < 2; ++times) {
        set("Off", nullptr);
        ASSERT_TRUE(synchronize());
        EXPECT_EQ(steps, "frd") << "the file's content before its name, and once";
    }
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
    EXPECT_EQ(get("a") + get("b") + get("c") + get("d") + get("e"), "absentabsentabsentabsentabsent");
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
    const std::pair<const char*, const char*> kRefused[] = {
        {"relative", "The preferences can't be written: neither XDG_CONFIG_HOME nor HOME names an absolute folder\n"},
        {"/dev/null", "its folder can't be made: Not a directory\n"},
        {folder.path().c_str(), "can't hold more than 1048576 bytes\n"}};
    for (const auto& [place, sentence] : kRefused) {
        ::setenv("XDG_CONFIG_HOME", place, 1);
        testing::internal::CaptureStderr();
        set("k", text(std::string(1 << 20, 'x')).get());
        EXPECT_FALSE(synchronize());
        EXPECT_EQ(get("k"), "absent") << "what was refused is forgotten";
        EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr(sentence));
    }
}

TEST_F(PreferencesStore, SetsADamagedFileAside) {
    const std::string deep = R"({"a": {"b": {"c": )" + std::string(200'000, '[') + std::string(200'000, ']') + "}}}";
    const std::string damages[] = {"",     "{", "[]", R"({"CurrentUser": 5})", R"({"CurrentUser": {"CurrentHost": true}})",
                                   "\xFF", deep};
    std::size_t asides = 0;
    for (const auto& damage : damages) {
        writeFile(damage);
        support::writeFile(file() + ".new", "what a writer that was killed has left");
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

auto fails(char step) {
    return [step](const std::string&) { failing = step; };
}

struct Obstacle {
    const char* what;
    std::string sentence;  ///< what is said of it, in part
    std::function<void(const std::string& file)> put;
    std::function<void(const std::string& file)> remove = [](const std::string& file) { fs::remove(file); };
};

TEST_F(PreferencesStore, RefusesInASentenceWhatItCanNotRead) {
    const Obstacle obstacles[] = {
        {"damaged, and its lock can't be made", "damaged, and can't be set aside: /",
         [](const std::string& file) { fs::create_directory(file + ".lock"); },
         [](const std::string& file) { fs::remove(file + ".lock"); }},
        {"damaged, and can't be renamed", "damaged, and can't be set aside\n", fails('r')},
        {"a FIFO", "not a regular file\n", [](const std::string& file) { ::mkfifo(file.c_str(), 0600); }},
        {"a device", "not a regular file\n", [](const std::string& file) { fs::create_symlink("/dev/zero", file); }},
        {"a link to itself", "Too many levels of symbolic links",
         [](const std::string& file) { fs::create_symlink(file, file); }},
        {"one byte too many", "larger than 1048576 bytes\n",
         [](const std::string& file) { support::writeFile(file, "{}" + std::string((1 << 20) - 1, ' ')); }},
    };
    writeFile("{");
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
        EXPECT_THAT(said, HasSubstr(": " + sentence));
        remove(file());
        failing = 0;
    }
    set("k", text(std::string((1 << 20) - 68, 'x')).get());
    EXPECT_TRUE(synchronize() && synchronize()) << "written and read";
    EXPECT_EQ(fs::file_size(file()), 1U << 20) << "as large as a file may be";
}

TEST_F(PreferencesStore, AFailedSetLeavesNoTrace) {
    std::unique_ptr<platform::FileLock> holder;
    const Obstacle obstacles[] = {
        {"the new file can't be made", "can't be written: File exists",
         [](const std::string& file) { fs::create_directory(file + ".new"); },
         [](const std::string& file) { fs::remove(file + ".new"); }},
        {"the lock can't be made", ".lock: Is a directory\n",
         [](const std::string& file) {
             fs::remove(file + ".lock");
             fs::create_directory(file + ".lock");
         },
         [](const std::string& file) { fs::remove(file + ".lock"); }},
        {"the lock is a link", ".lock: Too many levels of symbolic links\n",
         [](const std::string& file) {
             fs::remove(file + ".lock");
             fs::create_symlink("elsewhere", file + ".lock");
         },
         [](const std::string& file) { fs::remove(file + ".lock"); }},
        {"the lock is held", "can't be changed: another process holds /",
         [&holder](const std::string& file) {
             holder = std::make_unique<platform::FileLock>(file + ".lock", std::chrono::milliseconds(0));
         },
         [&holder](const std::string&) { holder.reset(); }},
        {"it can't be synced", "can't be written: Input/output error\n", fails('f'), fails(0)},
        {"it can't be renamed", "can't be written: Input/output error\n", fails('r'), fails(0)},
        {"its folder can't be synced", "can't be written: Input/output error\n", fails('d'), fails(0)},
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
        EXPECT_FALSE(fs::exists(file() + ".new"));
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
            ::alarm(static_cast<unsigned>(support::kPatience.count()));  // ends it
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
    return steps.back() == failing ? -1 : 0;
}
extern "C" int rename(const char* from, const char* to) noexcept {
    steps += 'r';
    errno = EIO;
    return steps.back() == failing ? -1 : ::renameat(AT_FDCWD, from, AT_FDCWD, to);
}
