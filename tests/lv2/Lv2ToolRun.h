#pragma once
// A host or tool run as a user runs it, with LV2_PATH at the build tree's bundle and the
// LV2 schema bundles the system installs, plus any variables of the caller's own.

#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <utility>
#include <vector>

namespace lv2_tool {

struct Result {
    int exitCode = -1;
    QString out;
    QString err;
};

using Variables = std::vector<std::pair<QString, QString>>;

// Exit code -1 when the program cannot start, crashes or takes longer than two minutes.
inline Result run(const QString& program, const QStringList& arguments, const Variables& variables = {})
{
    QProcess process;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("LV2_PATH", QFileInfo(VK_LV2_BUNDLE).path() + ":/usr/lib/lv2");
    for (const auto& [name, value] : variables)
        env.insert(name, value);
    process.setProcessEnvironment(env);
    process.start(program, arguments);
    if (!process.waitForFinished(120000)) {
        process.kill();
        process.waitForFinished();
        return {-1, QString::fromUtf8(process.readAllStandardOutput()), QString::fromUtf8(process.readAllStandardError())};
    }
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            QString::fromUtf8(process.readAllStandardOutput()), QString::fromUtf8(process.readAllStandardError())};
}

} // namespace lv2_tool
