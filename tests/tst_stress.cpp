// Many threads at once: the calculator serialises them with its mutex, and
// the reentrant functions share nothing. Run under ThreadSanitizer by
// scripts/test.

#include "support/childprocess.h"

#include <OrvCalculator.h>
#include <OrvFunction.h>
#include <OrvPointFile.h>

#include <QAtomicInt>
#include <QTest>

#include <thread>
#include <vector>

using namespace OrvInterface;

namespace {

int iterations()
{
    return TestProcess::runsSlowly() ? 300 : 3000;
}
constexpr int kThreads = 8;

struct Case
{
    const char* expression;
    bool ok;
    double value;
};

const Case kCases[] = {
    {"1+2*3", true, 7},
    {"(1>2)?5:max(6,7)", true, 7},
    {"0xff+1", true, 256},
    {"pow(2,10)-1", true, 1023},
    {"5/0", false, 0},
    {"(1+2", false, 0},
    {"round(2.5)", false, 0},
    {"6/-3", true, -2},
};

// Runs body on kThreads threads at once; the number of failures seen.
template <typename Body>
int onManyThreads(Body body)
{
    QAtomicInt failures;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&failures, &body, t] {
            for (int i = 0, count = iterations(); i < count; ++i) {
                if (!body(t, i))
                    failures.ref();
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    return failures.loadRelaxed();
}

} // namespace

class TestStress : public QObject
{
    Q_OBJECT

private slots:
    // First: the operator table is filled by whichever thread comes first.
    void firstComputesFromManyThreads();
    void computeFromManyThreads();
    void reentrantFunctionsFromManyThreads();
};

void TestStress::firstComputesFromManyThreads()
{
    QVERIFY(g_mapOperators.isEmpty());
    const int failures = onManyThreads([](int t, int i) {
        const Case& c = kCases[(t + i) % (sizeof kCases / sizeof *kCases)];
        bool ok = !c.ok;
        const double value = Compute(c.expression, ok);
        return ok == c.ok && value == c.value;
    });
    QCOMPARE(failures, 0);
    QCOMPARE(g_mapOperators.size(), 46);
}

void TestStress::computeFromManyThreads()
{
    const int failures = onManyThreads([](int t, int i) {
        const Case& c = kCases[(t * 3 + i) % (sizeof kCases / sizeof *kCases)];
        bool ok = !c.ok;
        const double value = Compute(c.expression, ok);
        if (!ok)
            (void)GetCalculatorErro()[0]; // readable at any time
        return ok == c.ok && value == c.value;
    });
    QCOMPARE(failures, 0);
}

void TestStress::reentrantFunctionsFromManyThreads()
{
    const QByteArray data(4096, '\x5A');
    const unsigned int crc = crc32(reinterpret_cast<const unsigned char*>(data.constData()), data.size());
    const QString text = QStringLiteral("\u4e2d\u6587\u5b57\u7b26");
    const int failures = onManyThreads([&](int t, int i) {
        bool ok = crc32(reinterpret_cast<const unsigned char*>(data.constData()), data.size()) == crc;
        ok = ok && cutString(text, 7, "UTF-8") == text.left(2);
        ok = ok && GenerateErrorDesc(int(0x90006607)) == QStringLiteral("Login failed");
        ok = ok && numIP2StrIP(strIP2IntIP(QStringLiteral("10.%1.%2.1").arg(t).arg(i % 256)))
                == QStringLiteral("10.%1.%2.1").arg(t).arg(i % 256);
        unsigned int u = 0, v = 0, e = 0, m = 0;
        ok = ok && GetAnalyticFormat(QStringLiteral("Unit:4 Valid:3 Endian:L Meaning:x"), u, v, e, m) && m == 1;
        return ok;
    });
    QCOMPARE(failures, 0);
}

QTEST_GUILESS_MAIN(TestStress)
#include "tst_stress.moc"
