#include "base/Error.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <set>

using namespace tw;

TEST(Error, theSystemFailuresAUserMeetsAreSaidInSpanishAndAnyOtherByItsNumber)
{
    std::set<std::string> said;
    for (const int value : {ENOSPC, EACCES, EPERM, EROFS, ENOENT, EIO, EDQUOT, ENOTDIR, EISDIR,
                            EEXIST, ENAMETOOLONG, EMFILE, EFBIG, EBUSY, EXDEV}) {
        const Error error = systemError(value, "No se pudo guardar");
        EXPECT_EQ(std::pair(error.domain, error.code), std::pair(std::string("System"), value));
        EXPECT_EQ(error.description.rfind("No se pudo guardar: ", 0), 0u) << error.description;
        // In words of its own: neither the system's English text nor the fallback's number.
        EXPECT_EQ(error.description.find(std::strerror(value)), error.description.find("código"))
            << error.description;
        said.insert(error.description);
    }
    EXPECT_EQ(said.size(), 15u); // each in words of its own
    EXPECT_EQ(systemError(200).description, "Error del sistema (código 200).");
}
