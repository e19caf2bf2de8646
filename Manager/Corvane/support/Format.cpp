// The part of fmt that its headers leave to a library. Debian's is a shared one, which would bring a second C++ library into the
// daemon's memory, and compiling it into every source takes five times as long. It formats without locales, since
// nothing of ours asks for one.
#define FMT_STATIC_THOUSANDS_SEPARATOR ','
#include <fmt/format-inl.h>

FMT_BEGIN_NAMESPACE
namespace detail {

template auto dragonbox::to_decimal(float x) noexcept -> dragonbox::decimal_fp<float>;
template auto dragonbox::to_decimal(double x) noexcept -> dragonbox::decimal_fp<double>;
template auto thousands_sep_impl(locale_ref) -> thousands_sep_result<char>;
template auto decimal_point_impl(locale_ref) -> char;
template void buffer<char>::append(const char*, const char*);
template void vformat_to(buffer<char>&, string_view, format_args, locale_ref);

}  // namespace detail
FMT_END_NAMESPACE
