// A StudioHost whose dialogs answer from a script and remember how they were asked.
#pragma once

#include "studio/StudioHost.hpp"

#include <deque>

namespace tw::testing {

class FakeStudioHost final : public StudioHost {
public:
    // The next answers of each dialog, in order; an empty queue answers "cancelled".
    std::deque<std::optional<std::filesystem::path>> newProjectAnswers;
    std::deque<std::optional<std::filesystem::path>> openAnswers;
    std::deque<std::optional<std::filesystem::path>> audioFileAnswers;
    std::deque<std::optional<std::filesystem::path>> exportAnswers;
    bool microphoneAllowed = true;

    // How the dialogs were asked.
    std::string lastNewProjectTitle;
    std::string lastNewProjectName;
    std::string lastExportName;
    int newProjectRequests = 0;
    int openRequests = 0;
    int audioFileRequests = 0;
    int exportRequests = 0;
    int microphoneRequests = 0;

    std::optional<std::filesystem::path> chooseNewProjectLocation(const std::string& title,
                                                                  const std::string& name) override
    {
        ++newProjectRequests;
        lastNewProjectTitle = title;
        lastNewProjectName = name;
        return next(newProjectAnswers);
    }
    std::optional<std::filesystem::path> chooseProjectToOpen() override
    {
        ++openRequests;
        return next(openAnswers);
    }
    std::optional<std::filesystem::path> chooseAudioFile() override
    {
        ++audioFileRequests;
        return next(audioFileAnswers);
    }
    std::optional<std::filesystem::path> chooseExportDestination(const std::string& name) override
    {
        ++exportRequests;
        lastExportName = name;
        return next(exportAnswers);
    }
    void requestMicrophonePermission(std::function<void(bool)> answer) override
    {
        ++microphoneRequests;
        answer(microphoneAllowed);
    }

private:
    static std::optional<std::filesystem::path>
    next(std::deque<std::optional<std::filesystem::path>>& answers)
    {
        if (answers.empty())
            return std::nullopt;
        auto answer = answers.front();
        answers.pop_front();
        return answer;
    }
};

} // namespace tw::testing
