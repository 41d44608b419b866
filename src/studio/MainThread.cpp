#include "studio/MainThread.hpp"

#include <QCoreApplication>
#include <QMetaObject>
#include <QThread>

namespace tw {

void runOnMainThread(std::function<void()> job)
{
    QMetaObject::invokeMethod(QCoreApplication::instance(), std::move(job), Qt::QueuedConnection);
}

void assertMainThread()
{
    Q_ASSERT(QCoreApplication::instance() == nullptr ||
             QThread::currentThread() == QCoreApplication::instance()->thread());
}

} // namespace tw
