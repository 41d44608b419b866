#include "ui/TerminationSignals.hpp"

#include "ui/UiApplication.hpp"

#include <QTimer>

#include <gtest/gtest.h>

#include <csignal>

namespace tw {
namespace {

// Without the handler each of these signals would end the test program itself.
TEST(TerminationSignals, eachStopSignalQuitsTheEventLoopInsteadOfKillingTheProcess)
{
    testing::uiApplication();
    TerminationSignals handler;
    std::vector<int> received;
    QObject::connect(&handler, &TerminationSignals::received,
                     [&received](int signalNumber) { received.push_back(signalNumber); });
    bool quitAnnounced = false;
    const QMetaObject::Connection announced =
        QObject::connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit,
                         [&quitAnnounced] { quitAnnounced = true; });
    for (int signalNumber : {SIGTERM, SIGINT, SIGHUP}) {
        quitAnnounced = false;
        QTimer::singleShot(0, [signalNumber] { std::raise(signalNumber); });
        EXPECT_EQ(QCoreApplication::exec(), 0);
        EXPECT_TRUE(quitAnnounced);
    }
    QObject::disconnect(announced);
    EXPECT_EQ(received, (std::vector<int>{SIGTERM, SIGINT, SIGHUP}));
}

} // namespace
} // namespace tw
