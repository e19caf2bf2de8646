#pragma once

#include "Corvane/support/Refusal.h"

#include <functional>
#include <optional>
#include <utility>
#include <variant>

namespace corvane {

/// A value, or the refusal that says why there is none: the one way to fail inside the daemon.
template <typename T>
class [[nodiscard]] Result {
public:
    Result(T value) : content_(std::in_place_index<0>, std::move(value)) {}
    Result(Refusal refusal) : content_(std::in_place_index<1>, std::move(refusal)) {}

    explicit operator bool() const { return content_.index() == 0; }

    /// Only of a success.
    T& operator*() { return std::get<0>(content_); }
    const T& operator*() const { return std::get<0>(content_); }
    T* operator->() { return &std::get<0>(content_); }
    const T* operator->() const { return &std::get<0>(content_); }

    /// Only of a failure.
    const Refusal& refusal() const { return std::get<1>(content_); }

private:
    std::variant<T, Refusal> content_;
};

/// Success without a value, or a refusal.
template <>
class [[nodiscard]] Result<void> {
public:
    Result() = default;
    Result(Refusal refusal) : refusal_(std::move(refusal)) {}

    explicit operator bool() const { return !refusal_; }

    /// Only of a failure.
    const Refusal& refusal() const { return *refusal_; }

private:
    std::optional<Refusal> refusal_;
};

/// Runs exactly once, on the event loop's thread, possibly before the command that it was given to returns.
template <typename T>
using Completion = std::function<void(Result<T>)>;

}  // namespace corvane
