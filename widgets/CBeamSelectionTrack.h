#pragma once
// One row of the beam track list: colour disc, label, azimuth, elevation, pattern and
// parameter boxes, volume bar and mute switch. The row holds its beam's state itself (the
// angles live as the texts of their labels) and reports every edit by the user with its
// row index. A double click edits the column under the mouse.

#include <QColor>
#include <QMetaObject>
#include <QPixmap>
#include <QWidget>

#include <array>

class CHVolumeSlider;
class COnOffButton;
class CVolumeUnit;
class QComboBox;
class QLabel;

class CBeamSelectionTrack : public QWidget {
    Q_OBJECT
public:
    enum Column { IdColumn, LabelColumn, AzimuthColumn, ElevationColumn, PatternColumn, SpecificationColumn,
                  VolumeColumn, MuteColumn, NumColumns };
    using Widths = std::array<int, NumColumns>;
    // Spacing between cells, and the indent of the first; the list's header uses both.
    static constexpr int kCellSpacing = 2;
    static constexpr int kRowIndent = 15;

    // height: of the cells (the volume bar is 10 higher); a width of 0 leaves its column out.
    CBeamSelectionTrack(int height, const Widths& widths, QWidget* parent = nullptr);

    int id() const { return mId; }
    void setId(int id) { mId = id; }
    bool isActive() const { return mActive; }
    // Marks the row and repaints it.
    void setActive(bool active);

    // Setters from code change the row without a signal.
    QColor color() const { return mColor; }
    void setColor(const QColor& color);
    QString label() const;
    void setLabel(const QString& label);
    // The text shows the angle as given: the list wraps what needs wrapping.
    int phi() const;
    void setPhi(int angle);
    int theta() const;
    void setTheta(int angle);

    // Fill a box without a signal reaching anyone. A parameter list of one entry leaves
    // its box disabled and unconnected.
    void fillPatternBox(const QStringList& patterns, int index);
    void fillParameterBox(const QStringList& parameters, int index);
    int patternIndex() const;
    QString patternText() const;
    int parameterIndex() const;
    QString parameterText() const;

    float volume() const;
    // Sets the bar and, if open, the popup fader.
    void setVolume(float volume);
    bool mute() const;
    void setMute(bool mute);

    // The cell that shows a column, or null where the column is left out.
    QWidget* cell(Column column) const { return mCells[column]; }
    // The column under x, or NumColumns between cells.
    Column columnAt(int x) const;
    QWidget* volumePopup() const { return mVolumePopup; }
    CVolumeUnit* popupUnit() const { return mPopupUnit; }
    QComboBox* patternBox() const { return mPatternBox; }
    QComboBox* parameterBox() const { return mParameterBox; }
    COnOffButton* muteButton() const { return mMuteButton; }

    QSize sizeHint() const override { return {mWidth + 10, mHeight + 10}; }
    QSize minimumSizeHint() const override { return sizeHint(); }

signals:
    void trackClicked(int id);
    void colorChanged(int id, QColor color);
    void labelChanged(int id, QString text);
    void thetaChanged(int id, int angle);
    void phiChanged(int id, int angle);
    void patternChanged(int id, int patternIndex);
    void parameterChanged(int id, int parameterIndex);
    void volumeChanged(int id, float volume);
    void gainChanged(int id, float gain);
    void muteChanged(int id, bool mute);

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private slots:
    void updatePattern(int index);
    void updateParameter(int index);
    void updateVolume(float volume);
    void updateGain(float gain);
    void updateMute(bool mute);

private:
    QLabel* makeLabelCell(int height, int width);
    void paintColorDisc();
    void editColor();
    void editLabel();
    void editAngle(QLabel* cell, int max, const char* title, const char* prompt, void (CBeamSelectionTrack::*signal)(int, int));
    void openVolumePopup();
    void renderBackground();

    int mHeight = 0;
    int mWidth = 0;
    int mId = -1;
    bool mActive = false;
    QColor mColor = Qt::white;
    QPixmap mColorPixmap;
    QLabel* mColorLabel;
    QLabel* mTextLabel;
    QLabel* mAzimuthLabel;
    QLabel* mElevationLabel;
    QComboBox* mPatternBox;
    QComboBox* mParameterBox;
    CHVolumeSlider* mVolumeSlider;
    COnOffButton* mMuteButton;
    QWidget* mVolumePopup = nullptr;
    CVolumeUnit* mPopupUnit = nullptr;
    std::array<QWidget*, NumColumns> mCells{};
    QMetaObject::Connection mPatternConnection;
    QMetaObject::Connection mParameterConnection;
    QPixmap mBackground; // the painted row, remade on resize, selection and colour
};
