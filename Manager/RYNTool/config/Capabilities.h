#pragma once

#include <cstdint>
#include <memory>

/// Which radio the device carries, as the platform's codes; asked of the platform when the record is made.
struct Capabilities {
    Capabilities();
    static std::shared_ptr<const Capabilities> create();

    bool isRadio7To9() const;
    bool isRadio9() const;

    std::uint32_t vendor;
    std::uint32_t radio;
    std::uint32_t product;
};
