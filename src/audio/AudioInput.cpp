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

Error sourceLost(int status)
{
    return Error{ErrorDomain::system, status,
                 "La entrada de audio ya no está disponible: se desconectó o el servidor de sonido "
                 "se detuvo. Detén la grabación para conservar lo grabado."};
}

} // namespace AudioInputErrors

} // namespace tw
