// SPDX-License-Identifier: BSD-2-Clause
#include <QApplication>

#include <cstdlib>
#include <ctime>

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    setenv("LC_ALL", "C.UTF-8", 1);
    // Clocks change within a quarter of an hour there, at one minute past midnight.
    setenv("TZ", "America/St_Johns", 1);
    tzset();
    testing::InitGoogleTest(&argc, argv);
    QApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
