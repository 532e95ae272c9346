#pragma once
// The list of the user's beams: up to mMaxTracks rows under a bar that adds and deletes
// rows, links the azimuths of all rows, and saves and loads the list as a beam settings
// file (.vts). The rows are the model: the application reads them through the getters and
// acts on the signals. Track ids always equal row positions, so a deletion renumbers the
// rows behind it. Adding, deleting and loading are refused while audio streams.

#include "widgets/CBeamSelectionTrack.h"

#include <QColor>
#include <QList>
#include <QStringList>
#include <QWidget>

#include <vector>

struct CBeamTrackRecord;
class COnOffButton;
class QPushButton;
class QVBoxLayout;

class CBeamSelection : public QWidget {
    Q_OBJECT
public:
    enum Control { AddDeleteControl = 0x01, LinkControl = 0x02, SaveControl = 0x04, LoadControl = 0x08 };

    // controls: the Control bits of the bar; columns: one bit per column of a row.
    CBeamSelection(const QString& resourcePath, int maxTracks, int controls, int columns, QWidget* parent = nullptr);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

    int numTracks() const { return mNumTracks; }
    int activeTrack() const { return mActiveTrack; }
    bool isDirty() const { return mDirty; }
    bool phiLinkStatus() const { return mPhiLink; }

    // Getters for a track index below numTracks().
    int phi(int index) const { return mTracks[index]->phi(); }
    int theta(int index) const { return mTracks[index]->theta(); }
    int patternIndex(int index) const { return mTracks[index]->patternIndex(); }
    int parameterIndex(int index) const { return mTracks[index]->parameterIndex(); }
    QColor color(int index) const { return mTracks[index]->color(); }
    QString label(int index) const { return mTracks[index]->label(); }
    float volume(int index) const { return mTracks[index]->volume(); }
    // Linear factor of the volume in decibels.
    float gain(int index) const;
    bool mute(int index) const { return mTracks[index]->mute(); }

    CBeamSelectionTrack* track(int index) const { return mTracks[index]; }
    COnOffButton* addButton() const { return mAddButton; }
    COnOffButton* deleteButton() const { return mDeleteButton; }
    COnOffButton* linkButton() const { return mLinkButton; }
    QPushButton* saveButton() const { return mSaveButton; }
    QPushButton* loadButton() const { return mLoadButton; }

signals:
    void beamTrackAdded(int index);
    void beamTrackDeleted(int index);
    void activeBeamTrackChanged(int index);
    void beamTrackColorChanged(int index, QColor color);
    void beamTrackLabelChanged(int index, QString label);
    void beamTrackPhiChanged(int index, int angle);
    void beamTrackThetaChanged(int index, int angle);
    void beamTrackPatternChanged(int index, int patternIndex, int parameterIndex);
    void beamTrackParameterChanged(int index, int parameterIndex);
    void beamTrackGainChanged(int index, float gain);
    void beamTrackMuteChanged(int index, bool mute);

public slots:
    // With the values of the next track; no signal.
    void addBeam();
    // Removes the active track; no signal.
    void deleteBeam();
    void saveStateDialog();
    void loadStateDialog();
    void resetDirtyFlag() { mDirty = false; }
    QString fileName() const { return mFileName; }
    void saveCurrentState(const QString& fileName);
    void loadState(const QString& fileName);
    void setPhiLinkStatus(bool status);
    void setActiveBeamTrack(int id);
    void setPatternAndParameterLists(const QStringList& patternList, const QList<QStringList>& parameterLists);
    // Setters from code set the row and the dirty flag, and emit nothing for that row.
    void setColor(int index, const QColor& color);
    void setLabel(int index, const QString& label);
    void setTheta(int index, int angle);
    // With the link on, every other row turns by as much and reports its new azimuth.
    void setPhi(int index, int angle);
    void setTheta(int angle);
    void setPhi(int angle);
    void setPatternIndex(int trackIndex, int patternIndex);
    void setParameterIndex(int trackIndex, int parameterIndex);
    void setVolume(int index, float volume);
    void setMute(int index, bool mute);
    void setStreamingActive(bool active) { mStreaming = active; }

private slots:
    void updatePhiLinkStatus(bool status) { mPhiLink = status; }
    void updateActiveBeamTrack(int id);
    void updatePattern(int id, int patternIndex);
    void updateAddBeam();
    void updateDeleteBeam();
    void updateDeletedBeamTrack(int id);
    void updateDirtyFlag(int, QColor) { mDirty = true; }
    void updateDirtyFlag(int, QString) { mDirty = true; }
    void updateDirtyFlag(int, int) { mDirty = true; }
    void updateDirtyFlag(int, float) { mDirty = true; }
    void updateDirtyFlag(int, bool) { mDirty = true; }

private:
    void buildBar(const QString& resourcePath, class QBoxLayout* layout);
    void buildHeader(QBoxLayout* layout);
    COnOffButton* makeBarSwitch(const QString& text, const QString& toolTip);
    QPushButton* makeFileButton(const QString& icon, const QString& toolTip);
    void connectTrack(CBeamSelectionTrack* track);
    QColor newTrackColor() const;
    QStringList parametersOf(int patternIndex) const;
    void fillParameters(CBeamSelectionTrack* track, int patternIndex, const QString& parameterText);
    void adoptFileName(const QString& fileName);
    // Shows the box and answers true when streaming forbids the change.
    bool refusedWhileStreaming(const QString& text);
    // Warns and answers false for a name whose complete suffix is not "vts".
    bool acceptedSuffix(const QString& fileName);
    void takeNewValues(const CBeamTrackRecord& record);
    void resetNewValues();
    void resizeByRows(int rows);
    int rowStep() const;
    bool validIndex(int index) const { return index >= 0 && index < mNumTracks; }

    int mMaxTracks;
    int mNumTracks = 0;
    int mActiveTrack = -1;
    bool mPhiLink = false;
    QSize mEmptySize;
    bool mStreaming = false;
    QString mFileName;
    QString mFilePath;
    QString mBaseName;
    int mControls;
    COnOffButton* mAddButton = nullptr;
    COnOffButton* mDeleteButton = nullptr;
    COnOffButton* mLinkButton = nullptr;
    QPushButton* mSaveButton = nullptr;
    QPushButton* mLoadButton = nullptr;
    int mColumns;
    QVBoxLayout* mTrackLayout = nullptr;
    std::vector<CBeamSelectionTrack*> mTracks;
    QStringList mPatterns;
    QList<QStringList> mParameters;
    bool mDirty = false;
    QColor mNewColor;
    QString mNewLabel;
    int mNewPhi = 0;
    int mNewTheta = 90;
    QString mNewPattern;
    QString mNewParameter;
    double mNewVolume = 0.0;
    bool mNewMute = false;
};
