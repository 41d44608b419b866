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

#include <gtest/gtest.h>

namespace tw {
namespace {

using testing::TempFolder;

// A meeting point no other test or running studio uses.
QString uniqueServerName(const TempFolder& temp)
{
    return QString::fromStdString((temp / "instance.socket").string());
}

TEST(SingleInstance, aSecondLaunchHandsItsPathToTheRunningOne)
{
    testing::uiApplication();
    TempFolder temp;
    const QString name = uniqueServerName(temp);

    SingleInstance first(name);
    // Nobody runs yet: the first launch keeps its path and listens.
    EXPECT_FALSE(first.handOver(QStringLiteral("/nada"), 200));
    ASSERT_TRUE(first.listen());
    QSignalSpy opened(&first, &SingleInstance::openRequested);
    QSignalSpy activated(&first, &SingleInstance::activationRequested);

    const QString path = QStringLiteral("/home/ana/Podcasts/Entrevista con ñandú.podcastproject");
    SingleInstance second(name);
    EXPECT_TRUE(second.handOver(path));
    ASSERT_TRUE(opened.wait(5000));
    ASSERT_EQ(opened.count(), 1);
    EXPECT_EQ(opened.first().first().toString(), path);
    EXPECT_EQ(activated.count(), 1);

    // A launch without a path only brings the window forward.
    SingleInstance third(name);
    EXPECT_TRUE(third.handOver(std::nullopt));
    EXPECT_TRUE(activated.wait(5000));
    EXPECT_EQ(opened.count(), 1);

    // Two launches in a row both arrive, in order.
    EXPECT_TRUE(second.handOver(QStringLiteral("/a")));
    EXPECT_TRUE(third.handOver(QStringLiteral("/b")));
    for (int i = 0; i < 100 && opened.count() < 3; ++i)
        opened.wait(50);
    ASSERT_EQ(opened.count(), 3);
    EXPECT_EQ(opened.at(1).first().toString(), QStringLiteral("/a"));
    EXPECT_EQ(opened.at(2).first().toString(), QStringLiteral("/b"));
}

TEST(SingleInstance, aSocketLeftByADeadInstanceIsTakenOver)
{
    testing::uiApplication();
    TempFolder temp;
    const QString name = uniqueServerName(temp);
    // A socket file nobody listens on, as a killed instance leaves it.
    {
        const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
        ASSERT_GE(fd, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const QByteArray path = QFile::encodeName(name);
        ASSERT_LT(static_cast<std::size_t>(path.size()), sizeof(address.sun_path));
        std::memcpy(address.sun_path, path.constData(), path.size());
        ASSERT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
        ::close(fd);
    }
    ASSERT_TRUE(QFileInfo(name).exists());

    SingleInstance next(name);
    EXPECT_FALSE(next.handOver(QStringLiteral("/x"), 200));
    ASSERT_TRUE(next.listen());
    EXPECT_TRUE(next.listening());

    QSignalSpy opened(&next, &SingleInstance::openRequested);
    SingleInstance later(name);
    EXPECT_TRUE(later.handOver(QStringLiteral("/y")));
    ASSERT_TRUE(opened.wait(5000));
    EXPECT_EQ(opened.first().first().toString(), QStringLiteral("/y"));
}

} // namespace
} // namespace tw
