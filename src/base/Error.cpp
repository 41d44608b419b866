#include "base/Error.hpp"

#include <cerrno>

namespace tw {

namespace {

// The system's own texts are English (or whatever the locale gives): the failures a user meets
// are worded here instead.
const char* errnoDescription(int errnoValue)
{
    switch (errnoValue) {
    case EPERM:
        return "La operación no está permitida.";
    case ENOENT:
        return "El archivo o la carpeta no existe.";
    case EIO:
        return "Error de lectura o escritura en el disco.";
    case ENXIO:
    case ENODEV:
        return "El dispositivo no existe o no está conectado.";
    case EAGAIN:
        return "El recurso no está disponible por ahora.";
    case ENOMEM:
        return "No hay memoria suficiente.";
    case EACCES:
        return "Permiso denegado.";
    case EBUSY:
    case ETXTBSY:
        return "El archivo o el dispositivo está en uso.";
    case EEXIST:
        return "Ya existe un archivo o una carpeta con ese nombre.";
    case EXDEV:
        return "No se puede mover el archivo a otro disco de esta forma.";
    case ENOTDIR:
        return "Una parte de la ruta no es una carpeta.";
    case EISDIR:
        return "Es una carpeta, no un archivo.";
    case EINVAL:
        return "Argumento no válido.";
    case ENFILE:
    case EMFILE:
        return "Hay demasiados archivos abiertos.";
    case EFBIG:
        return "El archivo es demasiado grande.";
    case ENOSPC:
        return "No queda espacio en el disco.";
    case EROFS:
        return "El disco es de solo lectura.";
    case EMLINK:
    case ELOOP:
        return "La ruta tiene demasiados enlaces.";
    case ENAMETOOLONG:
        return "El nombre del archivo es demasiado largo.";
    case ENOTEMPTY:
        return "La carpeta no está vacía.";
    case EDQUOT:
        return "Se ha superado la cuota de disco.";
    case ENOSYS:
    case EOPNOTSUPP:
        return "El sistema de archivos no admite esta operación.";
    case ESTALE:
        return "El archivo ya no está disponible en la unidad de red.";
    case ETIMEDOUT:
        return "Se agotó el tiempo de espera.";
    case EINTR:
        return "La operación se interrumpió.";
    case ECANCELED:
        return "La operación se canceló.";
    case ENOMEDIUM:
        return "No hay ningún disco en la unidad.";
    default:
        return nullptr;
    }
}

} // namespace

std::string systemDescription(int errnoValue)
{
    const char* description = errnoDescription(errnoValue);
    return description ? description
                       : "Error del sistema (código " + std::to_string(errnoValue) + ").";
}

Error systemError(int errnoValue)
{
    return Error{ErrorDomain::system, errnoValue, systemDescription(errnoValue)};
}

Error systemError(int errnoValue, const std::string& context)
{
    Error error = systemError(errnoValue);
    error.description = context + ": " + error.description;
    return error;
}

} // namespace tw
