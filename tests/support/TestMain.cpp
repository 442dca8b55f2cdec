// Entry point of every test executable: a private home and XDG tree, so no
// test reads or writes the real user's configuration, and a QApplication on
// the offscreen platform for code that needs the event loop or widgets.
#include "support/TestEnvironment.h"

#include <QApplication>
#include <gtest/gtest.h>

int main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
    MVTestEnvironment::setUpProcess();
    QApplication app(argc, argv);
    const int result = RUN_ALL_TESTS();
    MVTestEnvironment::tearDownProcess();
    return result;
}
