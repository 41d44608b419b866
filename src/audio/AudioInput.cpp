#include "audio/AudioInput.hpp"

namespace tw {

namespace AudioInputErrors {

Error sourceUnavailable(int status)
{
    return Error{ErrorDomain::system, status, "No se pudo activar la entrada seleccionada."};
}

Error invalidFormat()
{
    return Error{ErrorDomain::audio, 1, "La entrada no tiene un formato de audio válido."};
}

} // namespace AudioInputErrors

} // namespace tw
