#pragma once

#include <utility>
#include <variant>

#include <QString>

#include "chat/ErrorKind.h"

namespace QuorvelChat {

// The failure half of every chat result.
struct Error
{
    ErrorKind kind = ErrorKind::Unknown;
    QString message;
    // The HTTP status of the failed exchange; -1 when there was none.
    qint32 httpCode = -1;

    friend bool operator==(const Error&, const Error&) = default;
};

// The success value of operations that return nothing.
struct Unit
{
    friend bool operator==(const Unit&, const Unit&) = default;
};

// The error every operation that is declared but not built yet answers with.
Error notImplemented(const QString& operation);

// A value or an error, never neither: a default result holds an Unknown
// error, so a result nobody filled still reports a failure.
template <class T>
class Result
{
public:
    Result() : m_held(std::in_place_index<1>) {}
    Result(const T& value) : m_held(std::in_place_index<0>, value) {}
    Result(T&& value) : m_held(std::in_place_index<0>, std::move(value)) {}
    Result(const Error& error) : m_held(std::in_place_index<1>, error) {}
    Result(Error&& error) : m_held(std::in_place_index<1>, std::move(error)) {}

    // Assigning the alternative already held assigns in place; the other
    // alternative is destroyed first.
    Result& operator=(const T& value)
    {
        m_held = value;
        return *this;
    }
    Result& operator=(T&& value)
    {
        m_held = std::move(value);
        return *this;
    }
    Result& operator=(const Error& error)
    {
        m_held = error;
        return *this;
    }
    Result& operator=(Error&& error)
    {
        m_held = std::move(error);
        return *this;
    }

    bool hasValue() const noexcept { return m_held.index() == 0; }
    // Reading the alternative not held throws std::bad_variant_access.
    const T& value() const { return std::get<0>(m_held); }
    T& value() { return std::get<0>(m_held); }
    const Error& error() const { return std::get<1>(m_held); }
    Error& error() { return std::get<1>(m_held); }

private:
    std::variant<T, Error> m_held;
};

} // namespace QuorvelChat
