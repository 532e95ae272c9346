#include "app/CMountingOptions.h"

#include "app/COrientationFields.h"

#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include <array>
#include <cmath>

namespace {
struct PresetAngles {
    const char* name;
    float yaw;
    float pitch;
    float roll;
};
// Upside down hangs the array from its top: half a turn about the front axis.
constexpr std::array<PresetAngles, 2> kPresets{{{"upright", 0.0f, 0.0f, 0.0f}, {"upside down", 0.0f, 0.0f, 180.0f}}};
} // namespace

CMountingOptions::CMountingOptions(QWidget* parent) : QWidget(parent), mPreset(new QComboBox)
{
    auto* group = new QGroupBox(QStringLiteral("Array mounting (Ambisonics and OSC directions)"));
    auto* form = new QFormLayout(group);
    for (const PresetAngles& p : kPresets)
        mPreset->addItem(QString::fromLatin1(p.name));
    mPreset->addItem(QStringLiteral("custom"));
    form->addRow(QStringLiteral("Mounting"), mPreset);
    mAngles = new COrientationFields(form, {"yaw", "pitch", "roll"}, this);
    connect(mAngles, &COrientationFields::changed, this, &CMountingOptions::angleEdited);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(group);
    connect(mPreset, &QComboBox::activated, this, &CMountingOptions::choosePreset);
}

float CMountingOptions::yaw() const { return mAngles->yaw(); }
float CMountingOptions::pitch() const { return mAngles->pitch(); }
float CMountingOptions::roll() const { return mAngles->roll(); }
QDoubleSpinBox* CMountingOptions::angleBox(int axis) const { return mAngles->box(axis); }

void CMountingOptions::setMounting(float yaw, float pitch, float roll)
{
    mAngles->setAngles(yaw, pitch, roll);
    showPreset();
}

void CMountingOptions::choosePreset(int preset)
{
    if (preset < 0 || preset >= static_cast<int>(kPresets.size()))
        return;
    const PresetAngles& p = kPresets[static_cast<std::size_t>(preset)];
    if (p.yaw == yaw() && p.pitch == pitch() && p.roll == roll())
        return;
    setMounting(p.yaw, p.pitch, p.roll);
    emit mountingChanged(yaw(), pitch(), roll());
}

void CMountingOptions::angleEdited()
{
    showPreset();
    emit mountingChanged(yaw(), pitch(), roll());
}

void CMountingOptions::showPreset()
{
    int preset = Custom;
    for (std::size_t p = 0; p < kPresets.size(); ++p)
        if (kPresets[p].yaw == yaw() && kPresets[p].pitch == pitch() && std::abs(kPresets[p].roll) == std::abs(roll()))
            preset = static_cast<int>(p);
    const QSignalBlocker block(mPreset);
    mPreset->setCurrentIndex(preset);
}
