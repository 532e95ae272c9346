#include "settings/CBeamSettings.h"

#include <QDataStream>
#include <algorithm>
#include <QFile>
#include <QFileInfo>
#include <QIODevice>
#include <QSettings>

namespace {

// A QColor variant as QSettings streams it (stream version 4.0): type 67, colour model Rgb,
// alpha, red, green, blue at 0xffff, padding 0. Compared as bytes so that no Gui class
// is needed here.
const QByteArray& pureWhiteStreamed()
{
    static const QByteArray bytes = QByteArray::fromHex("0000004301ffffffffffffffff0000");
    return bytes;
}

int wrapDegrees(int angle)
{
    const int wrapped = angle % 360;
    return wrapped < 0 ? wrapped + 360 : wrapped;
}

// Ini text never holds a NUL byte; QSettings itself would read such a file as empty.
bool containsNul(const QString& fileName)
{
    QFile file(fileName);
    return file.open(QIODevice::ReadOnly) && file.readAll().contains('\0');
}

CBeamTrackRecord readTrack(const QSettings& file)
{
    CBeamTrackRecord track;
    track.color = file.value("color");
    track.label = file.value("label").toString();
    track.phi = wrapDegrees(file.value("phi").toInt());
    track.theta = std::clamp(file.value("theta").toInt(), 0, 180);
    track.pattern = file.value("pattern").toString();
    track.parameter = file.value("parameter").toString();
    track.volume = file.value("volume").toFloat();
    track.mute = file.value("mute").toBool();
    return track;
}

void writeTrack(QSettings& file, const CBeamTrackRecord& track)
{
    file.setValue("color", track.color);
    file.setValue("label", track.label);
    file.setValue("phi", track.phi);
    file.setValue("theta", track.theta);
    file.setValue("pattern", track.pattern);
    file.setValue("parameter", track.parameter);
    file.setValue("volume", track.volume);
    file.setValue("mute", track.mute);
}

} // namespace

bool CBeamTrackRecord::asksForRandomColor() const
{
    if (!color.isValid())
        return false;
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setVersion(QDataStream::Qt_4_0);
    stream << color;
    return bytes == pureWhiteStreamed();
}

bool CBeamSettings::hasSettingsSuffix(const QString& fileName)
{
    return QFileInfo(fileName).completeSuffix() == QLatin1String("vts");
}

int CBeamSettings::load(const QString& fileName, CBeamSettings& settings, int maxTracks)
{
    settings = CBeamSettings();
    if (!hasSettingsSuffix(fileName))
        return resultWrongSuffix;
    const QFileInfo info(fileName);
    if (!info.isFile() || !info.isReadable())
        return resultUnreadable;

    if (containsNul(fileName))
        return resultFormat;
    QSettings file(fileName, QSettings::IniFormat);
    if (file.status() != QSettings::NoError)
        return file.status() == QSettings::FormatError ? resultFormat : resultUnreadable;

    settings.phiLink = file.value("phiLinkStatus").toBool();
    const int count = std::min(file.beginReadArray("tracks"), std::max(maxTracks, 0));
    for (int i = 0; i < count; ++i) {
        file.setArrayIndex(i);
        settings.tracks.append(readTrack(file));
    }
    file.endArray();
    return resultOk;
}

int CBeamSettings::save(const QString& fileName) const
{
    if (!hasSettingsSuffix(fileName))
        return resultWrongSuffix;
    QSettings file(fileName, QSettings::IniFormat);
    file.clear();
    file.setValue("phiLinkStatus", phiLink);
    file.beginWriteArray("tracks");
    for (int i = 0; i < tracks.size(); ++i) {
        file.setArrayIndex(i);
        writeTrack(file, tracks[i]);
    }
    file.endArray();
    file.sync();
    return file.status() == QSettings::NoError ? resultOk : resultUnwritable;
}

QString CBeamSettings::describe(int result)
{
    switch (result) {
    case resultOk: return QStringLiteral("no error");
    case resultWrongSuffix: return QStringLiteral("Ending not recognized as an Vantoria Settings file!");
    case resultUnreadable: return QStringLiteral("cannot read the beam settings file");
    case resultFormat: return QStringLiteral("not a beam settings file (ini format expected)");
    case resultUnwritable: return QStringLiteral("cannot write the beam settings file");
    }
    return QStringLiteral("unknown result %1").arg(result);
}
