#include "audio/SndfileError.hpp"

#include "base/Error.hpp"

#include <cstring>
#include <string_view>

namespace tw {

namespace {

// The errno behind libsndfile's "System error : <strerror text>.", found by comparing with the
// system's text of each value in the same locale; 0 when none matches.
int errnoOf(std::string_view text)
{
    constexpr std::string_view prefix = "System error : ";
    if (text.substr(0, prefix.size()) == prefix)
        text.remove_prefix(prefix.size());
    if (!text.empty() && text.back() == '.')
        text.remove_suffix(1);
    char buffer[256];
    for (int value = 1; value < 256; ++value)
        if (text == strerror_r(value, buffer, sizeof buffer))
            return value;
    return 0;
}

std::string describe(int code, const char* text)
{
    switch (code) {
    case SF_ERR_UNRECOGNISED_FORMAT:
        return "El formato del archivo no se reconoce.";
    case SF_ERR_SYSTEM:
        if (const int value = errnoOf(text); value != 0)
            return systemDescription(value);
        return "Falló una operación del sistema con el archivo.";
    case SF_ERR_MALFORMED_FILE:
        return "El archivo de audio está dañado.";
    case SF_ERR_UNSUPPORTED_ENCODING:
        return "La codificación del audio no es compatible.";
    default:
        return "El archivo de audio no se pudo procesar (código " + std::to_string(code) + ").";
    }
}

} // namespace

std::string sndfileDescription(SNDFILE* file)
{
    return describe(sf_error(file), sf_strerror(file));
}

std::string sndfileDescription(int status)
{
    return describe(status, sf_error_number(status));
}

} // namespace tw
