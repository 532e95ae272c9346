#include "render/CPatternCatalogue.h"

#include "beamformer/CZircFactory.h"
#include "settings/BeamChoice.h"

#include <cmath>

CPatternCatalogue::CPatternCatalogue()
{
    const CZircFactory factory;
    for (int p = 0; p < factory.mNumPatterns; ++p) {
        const vkPattern* pattern = factory.pattern(p);
        mNames.append(QString::fromLatin1(pattern->mName, int(qstrnlen(pattern->mName, sizeof pattern->mName))));
        QStringList values;
        for (int i = 0; i < pattern->mNumParameters; ++i)
            values.append(QString::number(pattern->mParameterValues[i]));
        mParameters.append(values);
        mDefaultParameters.append(pattern->defaultParameter());
    }
}

CBeamSetting CPatternCatalogue::direction(const CBeamTrackRecord& beam)
{
    CBeamSetting setting;
    setting.theta = float(beam.theta);
    setting.phi = float(beam.phi);
    setting.gain = float(std::pow(10.0, 0.05 * beam.volume));
    setting.mute = beam.mute;
    return setting;
}

bool CPatternCatalogue::resolveStrict(const CBeamTrackRecord& beam, CBeamSetting& setting, QString& error) const
{
    setting = direction(beam);
    setting.pattern = int(mNames.indexOf(beam.pattern));
    if (setting.pattern < 0) {
        error = QStringLiteral("unknown pattern \"%1\": use one of %2").arg(beam.pattern, mNames.join(", "));
        return false;
    }
    const QStringList& values = mParameters[setting.pattern];
    setting.parameter = beam.parameter.isEmpty() ? mDefaultParameters[setting.pattern]
                                                 : int(values.indexOf(beam.parameter));
    if (setting.parameter < 0) {
        error = QStringLiteral("pattern \"%1\" has no \"WNG\" value %2: use one of %3")
                    .arg(beam.pattern, beam.parameter, values.join(", "));
        return false;
    }
    return true;
}

CBeamSetting CPatternCatalogue::resolveLenient(const CBeamTrackRecord& beam) const
{
    CBeamSetting setting = direction(beam);
    setting.pattern = beam_choice::patternIndex(mNames, beam.pattern);
    setting.parameter = beam_choice::closestParameter(mParameters.value(setting.pattern), beam.parameter);
    return setting;
}
