// main() for the widget benchmarks: a QApplication on the offscreen platform, so they run
// without a display and time painting alone.
#include "main/RunBenchmarks.hpp"

#include <QApplication>

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    return runBenchmarks(argc, argv);
}
