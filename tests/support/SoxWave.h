#pragma once
// Wave files made and read by another program, sox, so that what our reader takes and our
// writer leaves are checked independently of our own wave code.

#include <QProcess>
#include <QString>
#include <QStringList>

// A sine of the given channels and length, 24-bit at 44.1 kHz.
inline bool makeSoxSine(const QString& file, int channels, double seconds)
{
    QProcess sox;
    sox.start(QStringLiteral("sox"), {QStringLiteral("-n"), QStringLiteral("-r"), QStringLiteral("44100"),
                                      QStringLiteral("-c"), QString::number(channels), QStringLiteral("-b"),
                                      QStringLiteral("24"), file, QStringLiteral("synth"), QString::number(seconds),
                                      QStringLiteral("sine"), QStringLiteral("440")});
    return sox.waitForFinished(10000) && sox.exitStatus() == QProcess::NormalExit && sox.exitCode() == 0;
}

// The frames of a wave file as sox reads them from its header; -1 when sox cannot read it.
inline long soxFrames(const QString& file)
{
    QProcess soxi;
    soxi.start(QStringLiteral("soxi"), {QStringLiteral("-s"), file});
    if (!soxi.waitForFinished(10000) || soxi.exitStatus() != QProcess::NormalExit || soxi.exitCode() != 0)
        return -1;
    return soxi.readAllStandardOutput().trimmed().toLong();
}
