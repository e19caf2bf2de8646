#pragma once

#include "platform/vsk/plist_adapter.h"

#include <string>

/// The manager's preferences: the domain "com.quorvel.Corvane" of the current user. Making one touches no file.
class Preferences {
public:
    Preferences();
    Preferences(const Preferences&) = delete;
    Preferences& operator=(const Preferences&) = delete;
    virtual ~Preferences() = default;

protected:
    /// The stored value; `fallback` when there is none or it is of another type.
    template <typename Value>
    Value read(const std::string& key, Value fallback) const {
        const cf::Owned<CFPropertyListRef> stored(adapter_.copy(key));
        vsk::cf::assign(fallback, stored.get());
        return fallback;
    }

    const vsk::cf::plist_adapter& adapter() const { return adapter_; }

private:
    vsk::cf::plist_adapter adapter_;
};
