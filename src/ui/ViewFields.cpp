#include "ui/ViewFields.hpp"

#include "studio/Studio.hpp"

namespace tw {

bool affectsDuration(StudioField field, const Studio& studio)
{
    switch (field) {
    case StudioField::project:
    case StudioField::musicDuration:
    case StudioField::voiceTrimPreview:
    case StudioField::recording:
        return true;
    case StudioField::position:
        return studio.recording();
    default:
        return false;
    }
}

bool studioIdle(const Studio& studio)
{
    return !studio.recording() && !studio.busy();
}

} // namespace tw
