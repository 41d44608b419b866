// The Studio's message to the user, shown in an alert until dismissed. A message still on screen
// is never replaced: what comes later is added under it (once), so the first failure of an
// operation stays the first thing read and its consequences follow. Main thread.
#pragma once

#include "studio/StudioField.hpp"

#include <optional>
#include <string>

namespace tw {

class MessageField : public Published<std::optional<std::string>> {
public:
    explicit MessageField(FieldNotifier* owner)
        : Published<std::optional<std::string>>(owner, StudioField::message)
    {
    }

    // Absent dismisses the message; a text is shown, or added under what is shown.
    MessageField& operator=(std::optional<std::string> text)
    {
        const std::optional<std::string>& shown = get();
        if (text && shown && !hasLine(*shown, *text))
            text = *shown + "\n" + *text;
        else if (text && shown)
            text = shown;
        Published::operator=(std::move(text));
        return *this;
    }

private:
    static bool hasLine(const std::string& shown, const std::string& line)
    {
        for (std::size_t begin = 0; begin <= shown.size();) {
            std::size_t end = shown.find('\n', begin);
            if (end == std::string::npos)
                end = shown.size();
            if (shown.compare(begin, end - begin, line) == 0)
                return true;
            begin = end + 1;
        }
        return false;
    }
};

} // namespace tw
