#include "app/CAboutBox.h"
#include "resources/vkResources.h"
#include "tests/widgets/WidgetTestSupport.h"

#include <QCloseEvent>
#include <QDir>
#include <QHBoxLayout>
#include <QLabel>
#include <QMainWindow>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

#include <gtest/gtest.h>

namespace {

QLabel* labelAt(QLayout* layout, int index)
{
    return qobject_cast<QLabel*>(layout->itemAt(index)->widget());
}

// Restores exec() after a test that replaced it.
struct RunnerGuard {
    ~RunnerGuard() { CAboutBox::setRunner({}); }
};

// Runs `during` once the About box is up and modal, with a last resort that closes any
// modal window after five seconds so that a fault cannot hang the run.
struct ModalProbe {
    bool sawModalBox = false;
    bool windowBlocked = false;
    bool neededRescue = false;

    template <class Action>
    int present(QMainWindow& window, Action during)
    {
        QTimer::singleShot(0, [this, &window, during] {
            auto* box = qobject_cast<CAboutBox*>(QApplication::activeModalWidget());
            sawModalBox = box != nullptr && box->parentWidget() == &window && box->isVisible();
            windowBlocked = QApplication::activeModalWidget() != &window;
            if (box)
                during(*box);
        });
        QTimer rescue;
        rescue.setSingleShot(true);
        QObject::connect(&rescue, &QTimer::timeout, [this] {
            neededRescue = true;
            if (QWidget* modal = QApplication::activeModalWidget())
                modal->close();
        });
        rescue.start(5000);
        return CAboutBox::present(&window);
    }
};

} // namespace

TEST(AboutBox, ShowsLogoNameAndVersionOverACentredOkButton)
{
    CAboutBox box;
    EXPECT_EQ(box.windowTitle(), "About Vantoria");

    QLayout* outer = box.layout();
    ASSERT_NE(qobject_cast<QVBoxLayout*>(outer), nullptr);
    ASSERT_EQ(outer->count(), 2);
    auto* text = qobject_cast<QVBoxLayout*>(outer->itemAt(0)->layout());
    auto* buttons = qobject_cast<QHBoxLayout*>(outer->itemAt(1)->layout());
    ASSERT_NE(text, nullptr);
    ASSERT_NE(buttons, nullptr);

    EXPECT_EQ(text->contentsMargins(), QMargins(10, 10, 10, 10));
    EXPECT_EQ(text->spacing(), 10);
    ASSERT_EQ(text->count(), 3);
    for (int i = 0; i < 3; ++i) {
        ASSERT_NE(labelAt(text, i), nullptr) << i;
        EXPECT_EQ(labelAt(text, i)->alignment() & Qt::AlignHorizontal_Mask, Qt::AlignHCenter) << i;
    }
    const QPixmap logo = labelAt(text, 0)->pixmap();
    const QImage source(vkResources::picture("velkor.png"));
    ASSERT_FALSE(source.isNull());
    EXPECT_EQ(logo.width(), 150);
    EXPECT_EQ(logo.height(), source.height() * 150 / source.width());
    EXPECT_EQ(labelAt(text, 1)->text(), "<b>Vantoria</b>");
    EXPECT_EQ(labelAt(text, 1)->font().pointSize(), 15);
    EXPECT_EQ(labelAt(text, 2)->text(), "version 1.5.1");

    ASSERT_EQ(buttons->count(), 3);
    EXPECT_NE(buttons->itemAt(0)->spacerItem(), nullptr);
    EXPECT_EQ(buttons->itemAt(1)->widget(), box.okButton());
    EXPECT_NE(buttons->itemAt(2)->spacerItem(), nullptr);
    EXPECT_EQ(box.okButton()->text(), "OK");
}

TEST(AboutBox, PresentHandsTheBoxOverTheWindowToTheRunner)
{
    RunnerGuard guard;
    QMainWindow window;
    int runs = 0;
    CAboutBox::setRunner([&](CAboutBox& box) {
        ++runs;
        EXPECT_EQ(box.parentWidget(), &window);
        box.show();
        QTest::mouseClick(box.okButton(), Qt::LeftButton);
        EXPECT_FALSE(box.isVisible());
        return 7;
    });
    EXPECT_EQ(CAboutBox::present(&window), 7);
    EXPECT_EQ(runs, 1);
}

TEST(AboutBox, BlocksTheWindowUntilOkOrTheCloseButton)
{
    QMainWindow window;
    ASSERT_TRUE(widgettest::showAt(window, 400, 300));

    ModalProbe okProbe;
    okProbe.present(window, [](CAboutBox& box) { QTest::mouseClick(box.okButton(), Qt::LeftButton); });
    EXPECT_TRUE(okProbe.sawModalBox);
    EXPECT_TRUE(okProbe.windowBlocked);
    EXPECT_FALSE(okProbe.neededRescue);

    // The title bar's close button arrives as a close event.
    ModalProbe closeProbe;
    closeProbe.present(window, [](CAboutBox& box) {
        QCloseEvent event;
        QApplication::sendEvent(&box, &event);
    });
    EXPECT_TRUE(closeProbe.sawModalBox);
    EXPECT_FALSE(closeProbe.neededRescue);
    EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
}

// Writes a picture of the About box for review.
TEST(AboutBox, Picture)
{
    CAboutBox box;
    ASSERT_TRUE(widgettest::showAt(box, box.sizeHint().width(), box.sizeHint().height()));
    EXPECT_GE(box.width(), 150);
    EXPECT_TRUE(box.grab().save(QDir::current().filePath("about-box.png")));
}
