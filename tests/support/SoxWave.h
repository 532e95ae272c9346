#pragma once
// Test wave files made by another program: sox writes a sine of the given channels and
// length, 24-bit at 44.1 kHz, so that what our reader takes comes from an independent writer.

#include <QProcess>
#include <QString>
#include <QStringList>

inline bool makeSoxSine(const QString& file, int channels, double seconds)
{
    QProcess sox;
    sox.start(QStringLiteral("sox"), {QStringLiteral("-n"), QStringLiteral("-r"), QStringLiteral("44100"),
                                      QStringLiteral("-c"), QString::number(channels), QStringLiteral("-b"),
                                      QStringLiteral("24"), file, QStringLiteral("synth"), QString::number(seconds),
                                      QStringLiteral("sine"), QStringLiteral("440")});
    return sox.waitForFinished(10000) && sox.exitStatus() == QProcess::NormalExit && sox.exitCode() == 0;
}
