#pragma once

#include "Corvane/support/Refusal.h"

#include <functional>
#include <optional>
#include <utility>
#include <variant>

namespace corvane {

template <typename T>
class Result;

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

/// A value, or the refusal that says why there is none: the one way to fail inside the daemon.
template <typename T>
class [[nodiscard]] Result {
public:
    Result(T value) : content_(std::in_place_index<0>, std::move(value)) {}
    Result(Refusal refusal) : content_(std::in_place_index<1>, std::move(refusal)) {}

    explicit operator bool() const { return content_.index() == 0; }

    /// Only of a success.
    T& operator*() { return *std::get_if<0>(&content_); }
    const T& operator*() const { return *std::get_if<0>(&content_); }
    T* operator->() { return std::get_if<0>(&content_); }
    const T* operator->() const { return std::get_if<0>(&content_); }

    /// Only of a failure.
    const Refusal& refusal() const { return *std::get_if<1>(&content_); }

    /// What `next` makes of the value, another value or a result; a refusal stays one.
    template <typename Next>
    auto then(Next next) const -> decltype(corvane::Result(next(**this))) {
        return *this ? corvane::Result(next(**this)) : refusal();
    }
    /// Moves the value to `place`, which stays as it is when there is none.
    template <typename Place>
    Result<void> into(Place& place) {
        if (!*this) {
            return refusal();
        }
        place = std::move(**this);
        return {};
    }

private:
    std::variant<T, Refusal> content_;
};

/// Runs exactly once, on the event loop's thread, possibly before the command that it was given to returns.
template <typename T>
using Completion = std::function<void(Result<T>)>;

/// Runs every completion of `waiting`, in order, with a result or a refusal. What one of them adds meanwhile goes on waiting.
template <typename Completions, typename Outcome>
void completeAll(Completions& waiting, const Outcome& result) {
    for (const auto& completion : std::exchange(waiting, {})) {
        completion(result);
    }
}

}  // namespace corvane
