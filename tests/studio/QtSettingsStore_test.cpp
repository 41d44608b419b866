#include "studio/QtSettingsStore.hpp"

#include "support/TempProject.hpp"

#include <gtest/gtest.h>

namespace tw {
namespace {

TEST(QtSettingsStore, aValueIsAbsentUntilSetAndSurvivesANewStore)
{
    testing::TempFolder temp;
    const QString file = QString::fromStdString((temp / "settings.ini").string());
    {
        QtSettingsStore store(file);
        EXPECT_FALSE(store.value("lastProject"));
        store.setValue("lastProject", "/home/ana/Mi podcast.podcastproject");
        EXPECT_EQ(store.value("lastProject"), "/home/ana/Mi podcast.podcastproject");
    }
    QtSettingsStore reopened(file);
    EXPECT_EQ(reopened.value("lastProject"), "/home/ana/Mi podcast.podcastproject");
    EXPECT_FALSE(reopened.value("other"));
}

} // namespace
} // namespace tw
