// The status bar of the window.
#include <gtest/gtest.h>

#include <QLabel>
#include <QStatusBar>
#include <QStatusTipEvent>

#include "substitute/api/HostObjects.h"
#include "substitute/desktop/ElidedLabel.h"
#include "tests/desktop/DesktopFixture.h"

namespace {

using namespace substitute;

class StatusLine : public Desktop {
 protected:
  ElidedLabel& part(const char* name) const {
    auto* const found = window.statusBar()->findChild<ElidedLabel*>(name);
    if (found == nullptr) throw std::runtime_error(name);
    return *found;
  }
  std::string value(const char* name) const { return part(name).fullText().toStdString(); }
};

TEST_F(StatusLine, ShowsWhatTheAddInReturned) {
  EXPECT_EQ(value("message"), "");
  window.play("offline");
  window.play("start");
  EXPECT_EQ(value("message"), "run returned true");
  window.play("stop");
  EXPECT_EQ(value("message"), "stop returned true");
}

TEST_F(StatusLine, KeepsAnImportantMessageUntilTheNext) {
  window.play("start");
  window.play("message ");
  const std::string thrown = value("message");
  EXPECT_EQ(thrown.rfind("An exception left the add-in: std::out_of_range, ", 0), 0U) << thrown;
  window.play("stop");
  window.play("offline");
  window.play("start");
  EXPECT_EQ(value("message"), thrown);
  // The pointer over a menu.
  QStatusTipEvent passing{QString()};
  QApplication::sendEvent(&window, &passing);
  EXPECT_EQ(value("message"), thrown);
  EXPECT_TRUE(part("message").isVisible());

  window.play("online");
  window.play("message \"first\"");
  EXPECT_EQ(value("message"), "The add-in ran: open first");
  window.play("stop");
  EXPECT_EQ(value("message"), "The add-in ran: open first");
  window.play("fail Application.userInterface");
  window.play("start");
  EXPECT_EQ(value("message"), "run returned false");
}

TEST_F(StatusLine, ShowsThatAnExpectationFailed) {
  window.play("expect /run null");
  EXPECT_EQ(value("message"), "");
  window.play("expect /run false");
  const std::string failed = "An expectation failed: expected /run false, found null";
  EXPECT_EQ(value("message"), failed);
  window.play("expect /run null");
  window.play("start");
  EXPECT_EQ(value("message"), failed);
  window.play("message ");
  EXPECT_EQ(value("message").rfind("An exception left the add-in: ", 0), 0U);
}

TEST_F(StatusLine, ShowsThatAPageFailed) {
  window.play("offline");
  setCounter(4);
  window.play("start");
  window.play("click");
  ASSERT_TRUE(waitUntil([this] { return learningDock()->settled(); }));
  EXPECT_EQ(value("message"),
            "The page of teachPalete could not be shown. The host is offline. It loads the page "
            "when it goes online.");
  window.play("online");
  ASSERT_TRUE(pageLoaded());
  EXPECT_EQ(value("message").rfind("The page of teachPalete could not be shown.", 0), 0U);
}

TEST_F(StatusLine, NamesEveryValue) {
  EXPECT_EQ(value("addin"), "Add-in: stopped");
  EXPECT_FALSE(part("starts").isVisible());
  setCounter(2);
  window.play("start");
  EXPECT_EQ(value("addin"), "Add-in: running");
  EXPECT_EQ(value("starts"), "Starts counted: 3");
  EXPECT_TRUE(part("starts").isVisible());
  EXPECT_EQ(value("language"), "Language: Czech (2)");
  window.play("language 17");
  EXPECT_EQ(value("language"), "Language: 17");
  EXPECT_EQ(value("entitlement").rfind("Entitlement: ", 0), 0U);
  window.play("entitlement");
  EXPECT_EQ(value("entitlement"), "Entitlement: none");
  const auto* const network = window.statusBar()->findChild<QLabel*>("network");
  EXPECT_EQ(network->accessibleName(), "Host: online");
  window.play("offline");
  EXPECT_EQ(network->accessibleName(), "Host: offline");
}

TEST_F(StatusLine, LongStringsAreShortenedAndWholeInTooltipAndDialog) {
  const QString words = QString(290, 'e') + "<h1>x</h1>";
  host.setEntitlement(words.toStdString());
  window.play("state");
  const ElidedLabel& entitlement = part("entitlement");
  ASSERT_TRUE(waitUntil([&] { return entitlement.elidedText().endsWith(QChar(0x2026)); }));
  EXPECT_EQ(entitlement.toolTip().remove(QChar(0x200B)),
            "<p>Entitlement: " + words.toHtmlEscaped() + "</p>");
  EXPECT_EQ(answer("askEntitlement", std::nullopt), words);

  const int width = window.width();
  const QString address = "https://velorin.example/" + QString(4096, 'a');
  window.play("start");
  window.play("message \"" + address.toStdString() + "\"");
  const ElidedLabel& message = part("message");
  EXPECT_EQ(message.fullText(), "The add-in ran: open " + address);
  EXPECT_TRUE(message.elidedText().contains(QChar(0x2026)));
  EXPECT_TRUE(message.elidedText().startsWith("The add-in"));
  EXPECT_TRUE(message.toolTip().remove(QChar(0x200B)).contains(address));
  EXPECT_EQ(window.width(), width);
  EXPECT_LE(window.minimumSizeHint().width(), 1080);
}

}  // namespace
