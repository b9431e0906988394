#pragma once

#include <QString>

namespace Zendra
{

/// A value or an error.
template <typename T>
struct Result {
    T value {};
    QString errorText; ///< empty on success
};

/// Receives the response to an asynchronous request.
///
/// The caller owns the listener, which must live until the response. There is exactly one for each request.
template <typename T>
class ResponseListener
{
public:
    virtual void response(const Result<T>& result) = 0;

protected:
    ~ResponseListener() = default;
};

} // namespace Zendra
