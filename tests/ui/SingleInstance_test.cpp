#include "ui/SingleInstance.hpp"

#include "support/TempProject.hpp"
#include "ui/UiApplication.hpp"

#include <QFile>
#include <QFileInfo>
#include <QSignalSpy>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <future>

#include <gtest/gtest.h>

namespace tw {
namespace {

// A later launch is another process; here another thread, while this one serves as the running
// instance (it answers from its event loop).
bool launch(const QString& name, const std::optional<QString>& path)
{
    auto handedOver =
        std::async(std::launch::async, [&] { return SingleInstance(name).handOver(path); });
    while (handedOver.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready)
        QCoreApplication::processEvents();
    return handedOver.get();
}

TEST(SingleInstance, aLaunchTakesOverAFreeDeadOrHungSocketAndLaterLaunchesHandItTheirPaths)
{
    testing::uiApplication();
    for (const char* left : {"none", "dead", "hung"}) {
        SCOPED_TRACE(left);
        testing::TempFolder temp;
        // A meeting point no other test or running studio uses.
        const QString name = QString::fromStdString((temp / "instance.socket").string());
        // A socket file nobody listens on, as a killed instance leaves it; or one whose instance
        // hangs: the system accepts connections and bytes for it, and nobody ever answers.
        const bool none = std::string(left) == "none", hung = std::string(left) == "hung";
        const int fd = none ? -1 : ::socket(AF_UNIX, SOCK_STREAM, 0);
        ASSERT_TRUE(none || fd >= 0);
        if (!none) {
            sockaddr_un address{};
            address.sun_family = AF_UNIX;
            const QByteArray path = QFile::encodeName(name);
            ASSERT_LT(static_cast<std::size_t>(path.size()), sizeof(address.sun_path));
            std::memcpy(address.sun_path, path.constData(), path.size());
            ASSERT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
            ASSERT_EQ(hung ? ::listen(fd, 8) : ::close(fd), 0);
            ASSERT_TRUE(QFileInfo(name).exists());
        }

        // Nobody answers: the launch keeps its path and listens.
        SingleInstance first(name);
        EXPECT_FALSE(first.handOver(QStringLiteral("/nada"), 300));
        ASSERT_TRUE(first.listen());
        QSignalSpy opened(&first, &SingleInstance::openRequested);
        QSignalSpy activated(&first, &SingleInstance::activationRequested);

        const QString path =
            QStringLiteral("/home/ana/Podcasts/Entrevista con ñandú.podcastproject");
        // Answered once taken: the signals have come by the time the launch ends.
        EXPECT_TRUE(launch(name, path));
        ASSERT_EQ(opened.count(), 1);
        EXPECT_EQ(opened.first().first().toString(), path);
        EXPECT_EQ(activated.count(), 1);

        // A launch without a path only brings the window forward.
        EXPECT_TRUE(launch(name, std::nullopt));
        EXPECT_EQ(activated.count(), 2);
        EXPECT_EQ(opened.count(), 1);

        // Two launches in a row both arrive, in order.
        EXPECT_TRUE(launch(name, QStringLiteral("/a")));
        EXPECT_TRUE(launch(name, QStringLiteral("/b")));
        ASSERT_EQ(opened.count(), 3);
        EXPECT_EQ(opened.at(1).first().toString(), QStringLiteral("/a"));
        EXPECT_EQ(opened.at(2).first().toString(), QStringLiteral("/b"));
        if (hung)
            ::close(fd);
    }
}

} // namespace
} // namespace tw
