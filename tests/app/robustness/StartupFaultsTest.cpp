// What the program says when it cannot start its window, and the latency the status
// line shows: the beamformer's and the driver's both ways.

#include "app/CStatusLine.h"
#include "tests/app/robustness/FakeDriverSession.h"

#include <QProcess>
#include <QProcessEnvironment>
#include <QRegularExpression>

namespace {

// The program run with the environment's display settings replaced by `display`.
struct ProgramRun {
    int exitCode = -1;
    bool crashed = true;
    QString errors;
};

ProgramRun runProgram(const QString& display, const QString& folder)
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
        env.remove(QString::fromLatin1(name));
    if (!display.isEmpty())
        env.insert(QStringLiteral("DISPLAY"), display);
    QProcess program;
    program.setProcessEnvironment(env);
    program.setWorkingDirectory(folder);
    program.start(QStringLiteral(VK_PROGRAM), {});
    ProgramRun run;
    if (!program.waitForFinished(30000)) {
        program.kill();
        program.waitForFinished();
        return run;
    }
    run.exitCode = program.exitCode();
    run.crashed = program.exitStatus() != QProcess::NormalExit;
    run.errors = QString::fromLocal8Bit(program.readAllStandardError());
    return run;
}

using StartupFaults = FakeDriverSession;

} // namespace

TEST_F(StartupFaults, WithoutADisplayTheProgramSaysSoInOneLineAndFails)
{
    for (const QString& display : {QString(), QStringLiteral(":987")}) {
        const ProgramRun run = runProgram(display, dir.path());
        EXPECT_FALSE(run.crashed) << display.toStdString() << ": " << run.errors.toStdString();
        EXPECT_EQ(run.exitCode, 1) << display.toStdString();
        EXPECT_EQ(run.errors.count(QLatin1Char('\n')), 1) << run.errors.toStdString();
        EXPECT_TRUE(run.errors.startsWith(QStringLiteral("vantoria: no display"))) << run.errors.toStdString();
        EXPECT_TRUE(run.errors.contains(QStringLiteral("xvfb-run"))) << run.errors.toStdString();
    }
}

TEST_F(StartupFaults, TheStatusLineAddsTheDriversLatenciesToTheBeamformers)
{
    fake.config.inputLatency = 300;
    fake.config.outputLatency = 700;
    ASSERT_NO_FATAL_FAILURE(open());
    const QRegularExpressionMatch m =
        QRegularExpression(QStringLiteral("latency (\\d+) samples")).match(app->statusLine()->text());
    ASSERT_TRUE(m.hasMatch()) << app->statusLine()->text().toStdString();
    EXPECT_EQ(m.captured(1).toInt(), CStatusLine::kBeamformerLatency + 300 + 700);
}
