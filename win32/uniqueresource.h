// Ownership of one Windows resource by one scope.
#pragma once

#include <utility>

// Owns a value of Traits::Type and gives it to Traits::Close when the scope ends. Traits::Empty()
// is the value that owns nothing. Movable, not copyable; the members do not throw.
template <typename Traits>
class UniqueResource {
 public:
    using Type = typename Traits::Type;

    UniqueResource() = default;
    explicit UniqueResource(Type value) : m_value(value) {}
    UniqueResource(UniqueResource&& other) noexcept : m_value(other.Release()) {}
    UniqueResource& operator=(UniqueResource&& other) noexcept {
        if (this != &other) {
            Reset(other.Release());
        }
        return *this;
    }
    UniqueResource(const UniqueResource&) = delete;
    UniqueResource& operator=(const UniqueResource&) = delete;
    ~UniqueResource() { Reset(); }

    [[nodiscard]] Type Get() const { return m_value; }
    explicit operator bool() const { return m_value != Traits::Empty(); }

    // Closes what is owned and gives the address for a Windows call that stores a new value.
    Type* Receive() {
        Reset();
        return &m_value;
    }

    // Hands the value to the caller, who closes it from now on.
    Type Release() { return std::exchange(m_value, Traits::Empty()); }

    // Closes what is owned and takes over `value`.
    void Reset(Type value = Traits::Empty()) {
        Type old = std::exchange(m_value, value);
        if (old != Traits::Empty()) {
            Traits::Close(old);
        }
    }

 private:
    Type m_value = Traits::Empty();
};
