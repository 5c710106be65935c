#pragma once

#include <QApplication>
#include <QTest>

namespace tw::test {

// Polls that a fixture's end stopped resume on a queued call, and a fetch that answers on a timer
// needs a turn of the loop to see it fire. Giving them those turns before the application goes lets
// every coroutine frame return, so the leak checker reports what was really lost, not what waited.
inline void finishStoppedWork()
{
    QTest::qWait(50);
}

// QTEST_MAIN, with the stopped work finished before the application object goes.
template<typename Test>
int runGuiTest(int argc, char *argv[])
{
    QApplication app(argc, argv);
    Test test;
    const int failures = QTest::qExec(&test, argc, argv);
    finishStoppedWork();
    return failures;
}

} // namespace tw::test

#define TW_GUI_TEST_MAIN(Test)                                                                                         \
    int main(int argc, char *argv[])                                                                                   \
    {                                                                                                                  \
        return tw::test::runGuiTest<Test>(argc, argv);                                                                 \
    }
