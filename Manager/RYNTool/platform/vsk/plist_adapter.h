#pragma once

#include "platform/CoreFoundation/Owned.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace vsk::cf {

/// The preferences of one domain and one user, on the current host.
class plist_adapter {
public:
    /// @param user a constant
    plist_adapter(::cf::Owned<CFStringRef> domain, CFStringRef user) : domain_(std::move(domain)), user_(user) {}

    /// Stores a `bool` as a CFBoolean, an `unsigned long` as a signed 64-bit CFNumber; there is no other form.
    /// @param synchronise whether the value has to be on disk on return; else it is only staged
    /// @return false for an absent value, for a key that is not UTF-8, and when synchronising failed
    template <typename Value>
    bool set(const std::optional<Value>& value, const std::string& key, bool synchronise) const;

    /// Whether the stored preferences can be read now; reports why not.
    bool isReadable() const;
    /// One reference, which the caller releases; nullptr when there is no such value.
    CFPropertyListRef copy(const std::string& key) const;

private:
    bool store(const std::string& key, CFPropertyListRef value, bool synchronise) const;

    ::cf::Owned<CFStringRef> domain_;
    CFStringRef user_;
};

template <>
bool plist_adapter::set<bool>(const std::optional<bool>& value, const std::string& key, bool synchronise) const;
template <>
bool plist_adapter::set<unsigned long>(const std::optional<unsigned long>& value, const std::string& key, bool synchronise) const;

/// Converts `value` when it is of the type that goes with `out`: CFBoolean for bool, CFNumber for the number, of which the
/// low 32 bits are taken. Otherwise, and for nullptr, `out` is untouched.
void assign(bool& out, CFPropertyListRef value);
void assign(std::uint32_t& out, CFPropertyListRef value);

}  // namespace vsk::cf
