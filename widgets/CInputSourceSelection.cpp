#include "widgets/CInputSourceSelection.h"

#include "widgets/CDialogSeam.h"

#include <QFileInfo>
#include <QGridLayout>
#include <QIcon>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>

CInputSourceSelection::CInputSourceSelection(const QString& resourcePath, QWidget* parent)
    : QWidget(parent), mResourcePath(resourcePath)
{
    mModeButtons[Live] = new QRadioButton(QStringLiteral("Live "), this);
    mModeButtons[File] = new QRadioButton(QStringLiteral("File: "), this);
    mModeButtons[mMode]->setChecked(true);

    mLoadButton = new QPushButton(this);
    mLoadButton->setIcon(QIcon(mResourcePath + QStringLiteral("/loadFile.png")));

    mFileLabel = new QLabel(this);
    mFileLabel->setMinimumSize(120, mFileLabel->sizeHint().height());
    mFileLabel->setBackgroundRole(QPalette::Light);
    mFileLabel->setAutoFillBackground(true);

    auto* grid = new QGridLayout(this);
    grid->addWidget(mModeButtons[Live], 0, 0, Qt::AlignLeft);
    grid->addWidget(mModeButtons[File], 1, 0, Qt::AlignLeft);
    grid->addWidget(mLoadButton, 1, 1, Qt::AlignCenter);
    grid->addWidget(mFileLabel, 1, 2, Qt::AlignLeft);

    connect(mLoadButton, &QPushButton::clicked, this, &CInputSourceSelection::openFileDialog);
    for (QRadioButton* button : mModeButtons)
        connect(button, &QRadioButton::clicked, this, &CInputSourceSelection::updateMode);
}

void CInputSourceSelection::setFileControlsEnabled(bool enabled)
{
    mLoadButton->setEnabled(enabled);
    mFileLabel->setEnabled(enabled);
}

void CInputSourceSelection::setMode(tMode mode)
{
    if (!validMode(mode))
        return;
    mMode = mode;
    mModeButtons[mode]->setChecked(true);
}

void CInputSourceSelection::setFileName(const QString& fileName)
{
    const QFileInfo info(fileName);
    mFileName = fileName;
    mBaseName = info.baseName();
    mDirectory = info.absolutePath();
    mFileLabel->setText(mBaseName);
    mFileLabel->setToolTip(mFileName);
}

void CInputSourceSelection::setModeEnabled(tMode mode, bool enabled)
{
    if (!validMode(mode))
        return;
    mModeButtons[mode]->setEnabled(enabled);
    if (mode == File)
        mLoadButton->setEnabled(enabled);
}

void CInputSourceSelection::openFileDialog()
{
    const QString fileName = CDialogSeam::getOpenFileName(
        this, {tr("open File"), mDirectory, tr("Wav Files (*.wav);;All Files (*)")});
    if (fileName.isEmpty())
        return;
    setFileName(fileName);
    emit fileNameChanged(fileName);
}

void CInputSourceSelection::updateMode()
{
    const auto* button = qobject_cast<const QAbstractButton*>(sender());
    if (!button)
        return;
    if (button->text().startsWith(QLatin1String("Live")))
        mMode = Live;
    else if (button->text().startsWith(QLatin1String("File")))
        mMode = File;
    emit modeChanged(mMode);
}
