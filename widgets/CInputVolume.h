#pragma once
// The input gain: five preamp steps beside a fader, and the product of the two gains.
// With the box attached the step goes to the box (preampVolumeChanged) and only the
// fader's gain is applied in software (sliderGainChanged); without it the product is
// (gainChanged). The owner chooses.

#include <QWidget>

#include <vector>

class CVolumeUnit;
class QButtonGroup;

class CInputVolume : public QWidget {
    Q_OBJECT
public:
    explicit CInputVolume(QWidget* parent = nullptr);

    // Selects the lowest step not below `volume`, silently.
    void setPreampVolume(int volume);
    int preampVolume() const { return mPreampSteps[mPreampIndex]; }
    void setSliderVolume(int volume);
    int sliderVolume() const;
    float sliderGain() const { return mSliderGain; }
    float gain() const { return mGain; }

    CVolumeUnit* sliderUnit() const { return mSliderUnit; }
    QButtonGroup* preampGroup() const { return mPreampGroup; }

signals:
    void preampVolumeChanged(int volume);
    void sliderGainChanged(float gain);
    void gainChanged(float gain);
    void muteClicked(bool status);

public slots:
    void updatePreampVolume(int buttonID);
    void updateSliderGain(float gain);

private:
    void selectPreamp(int index);

    std::vector<int> mPreampSteps{-10, 0, 10, 20, 30};
    std::vector<float> mPreampGains;
    int mSliderMin = -15;
    int mSliderMax = 15;
    float mSliderGain = 1.0f;
    float mPreampGain = 1.0f;
    float mGain = 1.0f;
    int mPreampIndex = 0;
    CVolumeUnit* mSliderUnit;
    QButtonGroup* mPreampGroup;
};
