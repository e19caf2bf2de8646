#include "Platform/CoreFoundation/Object.h"
#include "Platform/CoreFoundation/PreferencesFile.h"
#include "Platform/Report.h"

#include <nlohmann/json.hpp>

#include <limits>
#include <map>
#include <mutex>
#include <optional>
#include <tuple>

namespace {

using Json = nlohmann::json;

// The file lies in the current user's folder on the current host, so neither needs another name in it.
constinit const ConstantString currentUser("CurrentUser");
constinit const ConstantString currentHost("CurrentHost");

std::string text(CFStringRef string) {
    return std::string(string->text);
}

/// Domain, user and host.
using Scope = std::tuple<std::string, std::string, std::string>;

Scope scopeOf(CFStringRef domain, CFStringRef user, CFStringRef host) {
    return {text(domain), text(user), text(host)};
}

/// What was set and is not on disk yet, as merge patches (RFC 7396): null removes its key.
struct Staged {
    std::mutex mutex;
    std::map<Scope, Json> changes;
};

Staged& staged() {
    static Staged instance;
    return instance;
}

Json toJson(CFPropertyListRef value) {
    if (value == nullptr) {
        return nullptr;
    }
    switch (value->kind) {
        case CFObject::Kind::String:
            return text(static_cast<CFStringRef>(value));
        case CFObject::Kind::Bool:
            return static_cast<CFBooleanRef>(value)->value;
        case CFObject::Kind::Number:
            break;
    }
    return static_cast<CFNumberRef>(value)->value;
}

/// One reference; nullptr for what none of the three types can hold.
CFPropertyListRef fromJson(const Json& value) {
    if (value.is_boolean()) {
        return value.get<bool>() ? kCFBooleanTrue : kCFBooleanFalse;
    }
    if (value.is_string()) {
        return CFStringCreateWithCString(kCFAllocatorDefault, value.get_ref<const std::string&>().c_str(), kCFStringEncodingUTF8);
    }
    const bool tooLarge = value.is_number_unsigned() && value.get<std::uint64_t>() > std::numeric_limits<std::int64_t>::max();
    if (!value.is_number_integer() || tooLarge) {
        return nullptr;
    }
    const auto number = value.get<std::int64_t>();
    return CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &number);
}

/// Null when there is none.
Json storedValue(const Scope& scope, const std::string& key) {
    const auto& [domain, user, host] = scope;
    const auto file = platform::PreferencesFile::ofDomain(domain);
    auto tree = file ? file->read() : std::nullopt;
    return tree ? (*tree)[user][host][key] : Json();  // enters null on the way to what is missing
}

}  // namespace

const CFStringRef kCFPreferencesCurrentUser = &currentUser;
const CFStringRef kCFPreferencesCurrentHost = &currentHost;

void CFPreferencesSetValue(CFStringRef key, CFPropertyListRef value, CFStringRef domain, CFStringRef user, CFStringRef host) {
    const std::lock_guard lock(staged().mutex);
    staged().changes[scopeOf(domain, user, host)][text(key)] = toJson(value);
}

CFPropertyListRef CFPreferencesCopyValue(CFStringRef key, CFStringRef domain, CFStringRef user, CFStringRef host) {
    const auto scope = scopeOf(domain, user, host);
    const std::lock_guard lock(staged().mutex);
    if (const auto changes = staged().changes.find(scope); changes != staged().changes.end()) {
        if (const auto change = changes->second.find(text(key)); change != changes->second.end()) {
            return fromJson(*change);
        }
    }
    return fromJson(storedValue(scope, text(key)));
}

Boolean CFPreferencesSynchronize(CFStringRef domain, CFStringRef user, CFStringRef host) {
    const std::lock_guard lock(staged().mutex);
    const auto changes = staged().changes.extract(scopeOf(domain, user, host));
    const auto file = platform::PreferencesFile::ofDomain(text(domain));
    if (!changes) {
        return !file || file->read();
    }
    if (!file) {
        platform::report("The preferences can't be written: neither XDG_CONFIG_HOME nor HOME names an absolute folder");
        return 0;
    }
    return file->update([&](Json& tree) { tree[text(user)][text(host)].merge_patch(changes.mapped()); });
}
