// libsndfile's failures worded in Spanish: its own texts are English, and for a failing system
// call it keeps only the system's text of the errno.
#pragma once

#include <sndfile.h>

#include <string>

namespace tw {

// What went wrong with `file` (nullptr: the last failed open).
std::string sndfileDescription(SNDFILE* file);
// The same for a status that outlived its file (sf_close's).
std::string sndfileDescription(int status);

} // namespace tw
