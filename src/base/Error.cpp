#include "base/Error.hpp"

#include <cstring>

namespace tw {

Error systemError(int errnoValue)
{
    char buffer[256];
    // GNU strerror_r returns the message, which may or may not live in buffer.
    const char* text = strerror_r(errnoValue, buffer, sizeof buffer);
    return Error{ErrorDomain::system, errnoValue, text};
}

Error systemError(int errnoValue, const std::string& context)
{
    Error error = systemError(errnoValue);
    error.description = context + ": " + error.description;
    return error;
}

} // namespace tw
