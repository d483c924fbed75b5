// Failures of a palette's page, and what the window offers then.
#include <gtest/gtest.h>
#include <sys/types.h>

#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTcpServer>
#include <QTcpSocket>
#include <csignal>
#include <memory>

#include "substitute/api/HostObjects.h"
#include "substitute/desktop/ErrorPage.h"
#include "tests/desktop/DesktopFixture.h"

namespace {

using namespace substitute;

// Answers every request with one status and one page.
class PlainServer {
 public:
  // Listens on `port`; on any free port if left out.
  explicit PlainServer(const QByteArray& status, const QByteArray& page, quint16 port = 0) {
    EXPECT_TRUE(server_.listen(QHostAddress::LocalHost, port));
    QObject::connect(&server_, &QTcpServer::newConnection, &server_, [this, status, page] {
      QTcpSocket* const connection = server_.nextPendingConnection();
      QObject::connect(connection, &QTcpSocket::readyRead, connection, [connection, status, page] {
        if (!connection->readAll().contains("\r\n\r\n")) return;
        connection->write("HTTP/1.1 " + status + "\r\nContent-Type: text/html\r\nContent-Length: " +
                          QByteArray::number(page.size()) + "\r\nConnection: close\r\n\r\n" + page);
        connection->disconnectFromHost();
      });
    });
  }

  quint16 port() const { return server_.serverPort(); }

  std::string address(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(port()) + path;
  }

 private:
  QTcpServer server_;
};

// A host with a palette "page" whose address the test chooses.
class Page : public Desktop {
 protected:
  // A name that no DNS server resolves.
  static void SetUpTestSuite() {
    qputenv("QTWEBENGINE_CHROMIUM_FLAGS",
            site().engineSwitch().chopped(1) + ",MAP nowhere.example ~NOTFOUND\"");
  }

  // Opens the palette and waits until its page has loaded or has failed to load.
  void open(const std::string& address) {
    host.application()
        .userInterface->palettes
        ->add_raw("page", "Page", address.c_str(), true, true, true, 300, 400, true)
        ->release();
    window.play("state");
    ASSERT_NE(dock(), nullptr);
    ASSERT_TRUE(waitUntil([this] { return dock()->settled(); }));
  }

  PaletteDock* dock() const { return window.dock("page"); }
  template <class Widget>
  Widget& part(const char* name) const {
    auto* const found = dock()->findChild<Widget*>(name);
    if (found == nullptr) throw std::runtime_error(name);
    return *found;
  }

  std::string reason() const { return part<QLabel>("reason").text().toStdString(); }
  std::string address() const {
    return part<QPlainTextEdit>("address").toPlainText().toStdString();
  }
  QPushButton& retryButton() const { return part<QPushButton>("retry"); }
  QWidget& warningBar() const { return part<QWidget>("warningBar"); }
  std::string warningText() const { return part<QLabel>("warningText").text().toStdString(); }
  QVariant inPage(const QString& expression) const {
    return valueIn(*dock()->view().page(), expression);
  }

  void press(QWidget& widget, Qt::Key key) {
    window.activateWindow();
    widget.setFocus();
    QTest::keyClick(&widget, key);
  }
};

TEST_F(Page, NameThatIsNotFoundIsReported) {
  open("https://nowhere.example/lessons?lang=CSY");
  EXPECT_FALSE(dock()->loaded());
  EXPECT_TRUE(part<QWidget>("errorPage").isVisible());
  EXPECT_EQ(reason(), "The name nowhere.example was not found.");
  EXPECT_EQ(address(), "https://nowhere.example/lessons?lang=CSY");
  EXPECT_TRUE(retryButton().isVisible());
}

TEST_F(Page, RefusedConnectionIsReportedAndRetriedByKeyboard) {
  auto server = std::make_unique<PlainServer>("200 OK", "<title>There</title>");
  const quint16 port = server->port();
  const std::string page = server->address("/there");
  server.reset();
  open(page);
  EXPECT_FALSE(dock()->loaded());
  EXPECT_EQ(reason(), "127.0.0.1 refuses the connection.");
  EXPECT_EQ(address(), page);
  ASSERT_TRUE(retryButton().isVisible());
  EXPECT_NE(retryButton().focusPolicy() & Qt::TabFocus, 0);
  const PlainServer late("200 OK", "<title>There</title>", port);
  press(retryButton(), Qt::Key_Space);
  ASSERT_TRUE(waitUntil([this] { return dock()->loaded(); }));
  EXPECT_FALSE(part<QWidget>("errorPage").isVisible());
  EXPECT_EQ(inPage("document.title"), "There");
}

TEST_F(Page, TemporaryStatusIsRetried) {
  const PlainServer server("503 Service Unavailable", "busy");
  open(server.address("/busy"));
  EXPECT_FALSE(dock()->loaded());
  EXPECT_EQ(reason(), "127.0.0.1 answers with the status 503.");
  EXPECT_EQ(address(), server.address("/busy"));
  EXPECT_TRUE(retryButton().isVisible());
}

TEST_F(Page, PermanentStatusIsReportedWithoutAButton) {
  const std::string missing = std::string("https://") + LearningSite::host + "/fusion360/none.asp";
  open(missing);
  EXPECT_FALSE(dock()->loaded());
  EXPECT_EQ(reason(), "learning.velorin.example answers with the status 404.");
  EXPECT_EQ(address(), missing);
  EXPECT_FALSE(retryButton().isVisible());
}

// The site's certificate is accepted for the placeholder host alone.
TEST_F(Page, CertificateIsRefusedForAnotherHostAndReported) {
  const QByteArray port = site().engineSwitch().split(':').last().chopped(1);
  open("https://127.0.0.1:" + port.toStdString() + "/fusion360/learning.asp");
  EXPECT_FALSE(dock()->loaded());
  EXPECT_EQ(reason().find("The certificate of 127.0.0.1 is not trusted. "), 0U) << reason();
  EXPECT_GT(reason().size(), std::string("The certificate of 127.0.0.1 is not trusted. ").size());
  EXPECT_FALSE(retryButton().isVisible());
}

TEST_F(Page, MalformedAddressIsReported) {
  for (const char* const malformed : {"https://exa mple/", "https://[::1/", "https://"}) {
    SCOPED_TRACE(malformed);
    open(malformed);
    EXPECT_FALSE(dock()->loaded());
    EXPECT_EQ(reason(), "The address is not well formed.");
    EXPECT_EQ(address(), malformed);
    EXPECT_FALSE(retryButton().isVisible());
    window.play("remove palette page");
  }
}

TEST_F(Page, LongAddressIsShownInFullAndWidensNothing) {
  const std::string page = "https://nowhere.example/?lic=" + std::string(4096, 'x');
  open(page);
  EXPECT_EQ(address(), page);
  EXPECT_LE(dock()->width(), 300);
  EXPECT_LT(part<QPlainTextEdit>("address").height(), 120);
}

TEST_F(Page, OfflineHostOffersNoButton) {
  window.play("offline");
  open("https://nowhere.example/");
  EXPECT_EQ(reason(), "The host is offline. It loads the page when it goes online.");
  EXPECT_FALSE(retryButton().isVisible());
}

TEST(PageFailure, DependsOnTheEnginesNumber) {
  const QUrl url("https://example.org/page");
  const auto failureOf = [&](int code) {
    const PageFailure failure = pageFailure(code, "ERR_SOMETHING", url, "It has expired.");
    return std::pair(failure.reason.toStdString(), failure.canRetry);
  };
  EXPECT_EQ(failureOf(-106),
            std::pair(std::string("There is no network that leads to example.org."), true));
  EXPECT_EQ(failureOf(-118), std::pair(std::string("example.org does not answer in time."), true));
  EXPECT_EQ(failureOf(-137), std::pair(std::string("The name example.org was not found."), true));
  const std::string expired = "The certificate of example.org is not trusted. It has expired.";
  EXPECT_EQ(failureOf(-201), std::pair(expired, false));
  EXPECT_EQ(failureOf(-324), std::pair(std::string("The web engine reports ERR_SOMETHING."), true));
  for (const int status : {400, 403, 404, 410}) EXPECT_FALSE(failureOf(status).second) << status;
  for (const int status : {408, 429, 500, 502, 503})
    EXPECT_TRUE(failureOf(status).second) << status;
}

TEST_F(Page, NewWindowIsNotOpenedAndReported) {
  startWithPage();
  PaletteDock& learning = *learningDock();
  Desktop::inPage(
      "document.body.insertAdjacentHTML('afterbegin',"
      " '<a id=away target=_blank href=first-sketch.asp>Away</a>'); 0");
  const auto windows = QApplication::topLevelWidgets().size();
  clickInPage("#away");
  auto* const shown = learning.findChild<QWidget*>("warningBar");
  ASSERT_TRUE(waitUntil([&] { return shown->isVisible(); }));
  EXPECT_EQ(learning.findChild<QLabel*>("warningText")->accessibleName(),
            "The page asked for a new window, which does not open here: "
            "https://learning.velorin.example/fusion360/first-sketch.asp");
  EXPECT_EQ(QApplication::topLevelWidgets().size(), windows);
  EXPECT_TRUE(monitor.opened().empty());
  EXPECT_EQ(Desktop::inPage("location.pathname"), "/fusion360/learning.asp");
}

TEST_F(Page, ScriptErrorIsReportedWithFileAndLine) {
  const PlainServer server("200 OK", "<!doctype html>\n<script>\nnoSuchFunction();\n</script>\n");
  open(server.address("/broken.html"));
  ASSERT_TRUE(waitUntil([this] { return warningBar().isVisible(); }));
  EXPECT_EQ(warningText(),
            "broken.html, line 3: Uncaught ReferenceError: noSuchFunction is not defined");
  EXPECT_TRUE(dock()->loaded());
  EXPECT_LE(dock()->width(), 300);

  inPage("console.error('a second one'); 0");
  ASSERT_TRUE(
      waitUntil([this] { return warningText().find("a second one") != std::string::npos; }));
  EXPECT_NE(warningText().find("(warning 2)"), std::string::npos) << warningText();

  auto& close = part<QToolButton>("dismissWarning");
  EXPECT_FALSE(close.accessibleName().isEmpty());
  press(close, Qt::Key_Space);
  EXPECT_FALSE(warningBar().isVisible());
}

TEST_F(Page, LongScriptErrorIsShortenedAndWholeInTheTooltip) {
  const PlainServer server("200 OK", "<!doctype html><title>Fine</title>");
  open(server.address("/fine.html"));
  inPage("console.error('x'.repeat(4096)); 0");
  ASSERT_TRUE(waitUntil([this] { return warningBar().isVisible(); }));
  EXPECT_LT(warningText().size(), 300U);
  EXPECT_NE(warningText().find("…"), std::string::npos);
  EXPECT_TRUE(
      part<QLabel>("warningText").toolTip().remove(QChar(0x200B)).contains(QString(4096, 'x')));
  EXPECT_LE(dock()->width(), 300);
}

TEST_F(Page, EndOfItsProcessIsReportedAndTheKeyboardReloadsIt) {
  const PlainServer server("200 OK", "<title>There</title>");
  open(server.address("/there"));
  ASSERT_TRUE(dock()->loaded());
  ASSERT_EQ(kill(static_cast<pid_t>(dock()->view().page()->renderProcessPid()), SIGKILL), 0);
  ASSERT_TRUE(waitUntil([this] { return part<QWidget>("errorPage").isVisible(); }));
  EXPECT_EQ(reason(), "The process that showed the page has ended.");
  EXPECT_EQ(address(), server.address("/there"));
  press(retryButton(), Qt::Key_Space);
  ASSERT_TRUE(waitUntil([this] { return dock()->loaded(); }));
  EXPECT_EQ(inPage("document.title"), "There");
}

TEST_F(Page, ReloadsByKeyboard) {
  EXPECT_FALSE(action("reloadPage").isEnabled());
  startWithPage();
  ASSERT_TRUE(action("reloadPage").isEnabled());
  Desktop::inPage("window.mark = 'old'; 0");
  window.activateWindow();
  QTest::keyClick(&window, Qt::Key_F5);
  ASSERT_TRUE(waitUntil([this] {
    return learningDock()->loaded() && Desktop::inPage("window.mark ?? 'new'") == "new";
  }));
  EXPECT_EQ(Desktop::inPage("location.search").toString().left(9), "?lang=CSY");
}

TEST_F(Page, ReloadRetriesAFailedPage) {
  const std::string page = std::string("https://") + LearningSite::host + "/fusion360/none.asp";
  open(page);
  action("reloadPage").trigger();
  EXPECT_FALSE(dock()->settled());
  ASSERT_TRUE(waitUntil([this] { return dock()->settled(); }));
  EXPECT_EQ(reason(), "learning.velorin.example answers with the status 404.");
}

TEST_F(Page, DeveloperToolsOpenByKeyboardAndGoWithThePalette) {
  EXPECT_FALSE(action("developerTools").isEnabled());
  startWithPage();
  window.activateWindow();
  QTest::keyClick(&window, Qt::Key_F12);
  const QPointer<QWebEngineView> tools =
      learningDock()->findChild<QWebEngineView*>("developerTools");
  ASSERT_FALSE(tools.isNull());
  EXPECT_TRUE(tools->isVisible());
  EXPECT_TRUE(tools->isWindow());
  EXPECT_EQ(tools->page()->inspectedPage(), view().page());
  ASSERT_TRUE(waitUntil([&] { return tools->url().scheme() == "devtools"; }));
  ASSERT_TRUE(waitUntil(
      [&] { return valueIn(*tools->page(), "document.body.childElementCount > 0").toBool(); }));
  action("developerTools").trigger();  // shows the same window
  EXPECT_EQ(learningDock()->findChildren<QWebEngineView*>("developerTools").size(), 1);
  window.play("stop");
  EXPECT_TRUE(waitUntil([&] { return tools.isNull(); }));
}

TEST(DesktopProgram, TakesAPictureInSilenceWithoutADisplay) {
  const QTemporaryDir folder;
  const QString file = folder.filePath("window.png");
  for (const char* const platform : {"", "offscreen"}) {
    SCOPED_TRACE(platform);
    QProcessEnvironment blind = QProcessEnvironment::systemEnvironment();
    for (const char* const name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"}) {
      blind.remove(name);
    }
    if (*platform != '\0') blind.insert("QT_QPA_PLATFORM", platform);
    const ProgramResult ended =
        runProgram("substitute-desktop", {"--data", folder.path(), "--screenshot", file}, blind);
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.errors.toStdString(), "");
    EXPECT_TRUE(QFile::remove(file));
  }
}

}  // namespace
