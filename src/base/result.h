#pragma once
// A value or a typed error, returned across module borders instead of throwing.
#include <utility>
#include <variant>

namespace brellow {

template <class E>
struct Failure {
    E error;
};

template <class E>
Failure<std::decay_t<E>> fail(E&& error) {
    return Failure<std::decay_t<E>>{std::forward<E>(error)};
}

template <class T, class E>
class [[nodiscard]] Result {
  public:
    Result(T value)
        : state_(std::in_place_index<0>, std::move(value)) {}  // NOLINT: implicit by design
    Result(Failure<E> failure)                                 // NOLINT: implicit by design
        : state_(std::in_place_index<1>, std::move(failure.error)) {}

    bool ok() const { return state_.index() == 0; }
    explicit operator bool() const { return ok(); }

    T& value() & { return std::get<0>(state_); }
    const T& value() const& { return std::get<0>(state_); }
    T&& value() && { return std::get<0>(std::move(state_)); }
    T* operator->() { return &value(); }
    const T* operator->() const { return &value(); }
    T& operator*() & { return value(); }
    const T& operator*() const& { return value(); }

    const E& error() const { return std::get<1>(state_); }

  private:
    std::variant<T, E> state_;
};

/// For operations that produce nothing but may fail.
template <class E>
class [[nodiscard]] Result<void, E> {
  public:
    Result() = default;
    Result(Failure<E> failure) : error_(std::move(failure.error)), failed_(true) {}  // NOLINT

    bool ok() const { return !failed_; }
    explicit operator bool() const { return ok(); }
    const E& error() const { return error_; }

  private:
    E error_{};
    bool failed_ = false;
};

}  // namespace brellow
