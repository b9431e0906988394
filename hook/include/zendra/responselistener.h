#pragma once

#include <QString>

namespace Zendra
{

/// A value, or the reason why there is none.
template <typename T>
struct Result {
    T value {};
    QString errorText; ///< empty on success
};

/// Receives the answer to a request that may take its time.
///
/// The listener stays the caller's; it must live until it was answered. Every request answers exactly once.
template <typename T>
class ResponseListener
{
public:
    virtual void response(const Result<T>& result) = 0;

protected:
    ~ResponseListener() = default;
};

} // namespace Zendra
