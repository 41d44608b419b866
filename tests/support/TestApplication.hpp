// The one Qt application of a test program, made on the thread that runs the tests: the Studio's
// hand-offs to the main thread need one, and the interface tests make theirs a widget application
// on the offscreen platform by asking for it before anything else of Qt.
#pragma once

#include <QCoreApplication>

#include <type_traits>

namespace tw::testing {

template <class Application = QCoreApplication> Application& testApplication()
{
    static int argc = 1;
    static char name[] = "tapewright-tests";
    static char* argv[] = {name, nullptr};
    if (!QCoreApplication::instance()) {
        if constexpr (!std::is_same_v<Application, QCoreApplication>)
            qputenv("QT_QPA_PLATFORM", "offscreen");
        new Application(argc, argv);
    }
    return static_cast<Application&>(*QCoreApplication::instance());
}

inline QCoreApplication& coreApplication()
{
    return testApplication();
}

} // namespace tw::testing
