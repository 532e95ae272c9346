#pragma once
// Wave files made and read by another program, sox, so that what our reader takes and our
// writer leaves are checked independently of our own wave code.

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QStringList>

#include <optional>

// Runs `program` of the sox suite ("sox", "soxi") with `arguments`; what it wrote to its
// standard output, or nothing when it cannot be started, fails or takes over 30 s.
inline std::optional<QByteArray> runSox(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished(30000) || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        return std::nullopt;
    return process.readAllStandardOutput();
}

// A 440 Hz sine of the given channels and length, 24-bit at 44.1 kHz; `effects` follow
// the synthesis (for example "vol", "0.5").
inline bool makeSoxSine(const QString& file, int channels, double seconds, const QStringList& effects = {})
{
    QStringList arguments{QStringLiteral("-n"), QStringLiteral("-r"), QStringLiteral("44100"), QStringLiteral("-c"),
                          QString::number(channels), QStringLiteral("-b"), QStringLiteral("24"), file,
                          QStringLiteral("synth"), QString::number(seconds), QStringLiteral("sine"),
                          QStringLiteral("440")};
    return runSox(QStringLiteral("sox"), arguments + effects).has_value();
}

// One figure of a wave file as sox reads it from its header ("-c" channels, "-s" frames,
// "-r" rate); -1 when sox cannot read the file.
inline long soxInfo(const QString& file, const char* option)
{
    const std::optional<QByteArray> figure = runSox(QStringLiteral("soxi"), {QString::fromLatin1(option), file});
    return figure ? figure->trimmed().toLong() : -1;
}

inline long soxFrames(const QString& file)
{
    return soxInfo(file, "-s");
}
