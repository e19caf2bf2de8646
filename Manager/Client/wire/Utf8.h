#pragma once

#include <string_view>

namespace ryn::wire {

/// Whether the bytes are well-formed UTF-8 (RFC 3629): no overlong form, no surrogate, nothing beyond U+10FFFF.
bool isUtf8(std::string_view bytes);

}  // namespace ryn::wire
