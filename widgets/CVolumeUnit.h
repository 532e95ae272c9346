#pragma once
// One vertical fader with a numeric edit field and optional mute, solo and link switches
// and label. It speaks decibels (volumeChanged) and, with a gain table, linear gain
// (gainChanged) at once. The taper is linear in decibels; the conversion to gain is done
// once per range into a table, so moving the fader is a look-up.

#include <QStringList>
#include <QWidget>

#include <vector>

class COnOffButton;
class QDoubleValidator;
class QLabel;
class QLineEdit;
class QSlider;

class CVolumeUnit : public QWidget {
    Q_OBJECT
public:
    enum Control { MuteButton = 0x01, SoloButton = 0x02, Label = 0x04, LinkButton = 0x08 };
    enum TickPosition { NoScale = 0, ScaleRight = 2 };

    explicit CVolumeUnit(int controls, QWidget* parent = nullptr);

    void setRange(int min, int max, float step, int singleStep, int pageStep);
    void setMakeTable(bool make);
    void setTickPosition(int position);
    void setTickLabels(int step);
    void setSuffix(const QString& suffix);

    float volume() const;
    // Linear gain of the present position; 0 without a table.
    float gain() const;
    int gainTableSize() const { return static_cast<int>(mGainTable.size()); }
    const QStringList& tickLabels() const { return mTickLabels; }
    QString label() const { return mLabel; }

    QSlider* slider() const { return mSlider; }
    QLineEdit* edit() const { return mEdit; }
    QLabel* labelWidget() const { return mLabelWidget; }
    COnOffButton* muteButton() const { return mMuteButton; }
    COnOffButton* soloButton() const { return mSoloButton; }
    COnOffButton* linkButton() const { return mLinkButton; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

signals:
    void changeLabel();
    void labelChanged(QString label);
    void gainChanged(float gain);
    void volumeChanged(float volume);
    void muteClicked(bool status);
    void soloClicked(bool status);
    void linkClicked(bool status);

public slots:
    void labelDialog();
    void setLabel(const QString& label);
    void setVolume(float volume);
    void setMute(bool mute);
    void setSolo(bool solo);
    void setLink(bool link);
    void sendGain(int gainStep);
    void updateVolume(int volumeStep);
    void updateVolume(const QString& volumeStr);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    COnOffButton* makeSwitch(const QString& text, const QString& toolTip, int onScheme, int offScheme);
    void buildLayout();
    void drawScale(class QPainter& painter);

    QString mLabel = QStringLiteral("0");
    int mControls;
    int mMin = -40;
    int mMax = 40;
    int mSingleStep = 1;
    float mStep = 0.1f;
    bool mMakeTable = false;
    int mLabelStep = 0;
    int mTickPosition = NoScale;
    QStringList mTickLabels;
    QString mSuffix;
    int mMinWidth = 45;
    int mMinHeight = 140;
    QSlider* mSlider;
    COnOffButton* mMuteButton;
    COnOffButton* mSoloButton;
    COnOffButton* mLinkButton;
    QLineEdit* mEdit;
    QDoubleValidator* mValidator;
    QLabel* mLabelWidget;
    std::vector<float> mGainTable;
};
