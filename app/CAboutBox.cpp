#include "app/CAboutBox.h"

#include "session/CZircSettings.h"
#include "resources/vkResources.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPixmap>
#include <QPushButton>
#include <QVBoxLayout>

namespace {
CAboutBox::Runner& installedRunner()
{
    static CAboutBox::Runner runner;
    return runner;
}

QLabel* centredLabel(QLabel* label)
{
    label->setAlignment(Qt::AlignHCenter);
    return label;
}
} // namespace

CAboutBox::CAboutBox(QWidget* parent)
    : QDialog(parent), mOkButton(new QPushButton(QStringLiteral("OK")))
{
    setWindowTitle(tr("About Vantoria"));

    auto* text = new QVBoxLayout;
    text->setContentsMargins(10, 10, 10, 10);
    text->setSpacing(10);
    auto* logo = new QLabel;
    logo->setPixmap(QPixmap(vkResources::picture(QStringLiteral("velkor.png")))
                        .scaledToWidth(kLogoWidth, Qt::SmoothTransformation));
    text->addWidget(centredLabel(logo));
    auto* name = new QLabel(QStringLiteral("<b>Vantoria</b>"));
    QFont font = name->font();
    font.setPointSize(kNamePointSize);
    name->setFont(font);
    text->addWidget(centredLabel(name));
    text->addWidget(centredLabel(new QLabel(QStringLiteral("version ") + versionString())));

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(mOkButton);
    buttons->addStretch();
    connect(mOkButton, &QPushButton::clicked, this, &QDialog::close);

    auto* outer = new QVBoxLayout(this);
    outer->addLayout(text);
    outer->addLayout(buttons);
}

QString CAboutBox::versionString()
{
    constexpr int version = CZircSettings::kVersion;
    return QStringLiteral("%1.%2.%3").arg(version / 10000).arg(version / 100 % 100).arg(version % 100);
}

int CAboutBox::present(QWidget* parent)
{
    CAboutBox box(parent);
    if (installedRunner())
        return installedRunner()(box);
    return box.exec();
}

void CAboutBox::setRunner(Runner runner)
{
    installedRunner() = std::move(runner);
}
