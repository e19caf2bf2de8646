#pragma once

#include "platform/vsk/plist_adapter.h"

#include <cstdint>
#include <string>

/// The manager's preferences: the domain "com.quorvel.Corvane" of the current user. Making one touches no file.
class Preferences {
public:
    Preferences();
    Preferences(const Preferences&) = delete;
    Preferences& operator=(const Preferences&) = delete;
    virtual ~Preferences();

protected:
    /// The stored value; `fallback` when there is none or it is of another type.
    bool read(const std::string& key, bool fallback) const;
    std::uint32_t read(const std::string& key, std::uint32_t fallback) const;

    const vsk::cf::plist_adapter& adapter() const { return adapter_; }

private:
    vsk::cf::plist_adapter adapter_;
};
