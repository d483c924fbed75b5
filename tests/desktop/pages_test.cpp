// Failures of a palette's page, and what the window offers then.
#include <QTcpServer>
#include <QTcpSocket>
#include <csignal>

#include "tests/desktop/DesktopFixture.h"

namespace {

using namespace substitute;

// Answers every request with one page and, until that changes, with one status.
class PlainServer : public QTcpServer {
 public:
  PlainServer(const QByteArray& firstStatus, const QByteArray& page) : status(firstStatus) {
    EXPECT_TRUE(listen(QHostAddress::LocalHost));
    port_ = serverPort();
    connect(this, &QTcpServer::newConnection, this, [this, page] {
      QTcpSocket* const connection = nextPendingConnection();
      connect(connection, &QTcpSocket::readyRead, connection, [this, connection, page] {
        if (!connection->readAll().contains("\r\n\r\n")) return;
        connection->write("HTTP/1.1 " + status + "\r\nContent-Type: text/html\r\nContent-Length: " +
                          QByteArray::number(page.size()) + "\r\nConnection: close\r\n\r\n" + page);
        connection->disconnectFromHost();
      });
    });
  }

  std::string address(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(port_) + path;
  }

  QByteArray status;

 private:
  quint16 port_ = 0;
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
    addPalette("page", "Page", 4, 400, address.c_str());
    ASSERT_TRUE(waitUntil([this] { return dock()->settled(); }));
  }

  PaletteDock* dock() const { return window.dock("page"); }
  template <class Widget>
  Widget& in(const char* name) const {
    return part<Widget>(name, dock());
  }
  std::string reason() const { return in<QLabel>("reason").text().toStdString(); }
  std::string address() const { return in<QPlainTextEdit>("address").toPlainText().toStdString(); }
  std::string warning() const { return in<QLabel>("warningText").accessibleName().toStdString(); }
  QVariant inPage(const QString& expression) const {
    return valueIn(*dock()->view().page(), expression);
  }

  void use(QWidget& button) {
    activate();
    button.setFocus();
    QTest::keyClick(&button, Qt::Key_Space);
  }
};

TEST_F(Page, FailureIsReportedWithItsReason) {
  const PlainServer busy("503 Service Unavailable", "busy");
  PlainServer silent("", "");
  silent.close();
  const QByteArray port = site().engineSwitch().split(':').last().chopped(1);
  const std::string missing = std::string("https://") + LearningSite::host + "/fusion360/none.asp";
  const std::string foreign = "https://127.0.0.1:" + port.toStdString() + "/fusion360/learning.asp";
  const std::string name = "https://nowhere.example/lessons?lic=" + std::string(4096, 'x');
  const std::tuple<std::string, const char*, bool> cases[] = {
      {name, "The name nowhere.example was not found.", true},
      {silent.address("/"), "127.0.0.1 refuses the connection.", true},
      {busy.address("/busy"), "127.0.0.1 answers with the status 503.", true},
      {missing, "learning.velorin.example answers with the status 404.", false},
      // The site's certificate is accepted for the placeholder host alone.
      {foreign, "The certificate of 127.0.0.1 is not trusted. ", false},
      {"https://exa mple/", "The address is not well formed.", false},
      {"https://[::1/", "The address is not well formed.", false},
      {"https://", "The address is not well formed.", false}};
  for (const auto& [page, why, canRetry] : cases) {
    SCOPED_TRACE(page.substr(0, 60));
    open(page);
    EXPECT_FALSE(dock()->loaded());
    EXPECT_EQ(reason().rfind(why, 0), 0U) << reason();
    EXPECT_EQ(address(), page);
    EXPECT_EQ(in<QPushButton>("retry").isVisible(), canRetry);
    EXPECT_FALSE(in<QPushButton>("back").isVisible());
    EXPECT_LE(dock()->width(), 300);
    EXPECT_LT(in<QPlainTextEdit>("address").height(), 120);
    window.play("remove palette page");
  }
}

TEST_F(Page, FailedPageIsRetriedByF5) {
  PlainServer server("503 Service Unavailable", "<title>There</title>");
  open(server.address("/there"));
  EXPECT_FALSE(dock()->loaded());
  server.status = "200 OK";
  press(Qt::Key_F5);
  ASSERT_TRUE(waitUntil([this] { return dock()->loaded(); }));
  EXPECT_FALSE(in<QWidget>("errorPage").isVisible());
  // F5 also reloads what was loaded.
  inPage("window.mark = 'old'; 0");
  press(Qt::Key_F5);
  EXPECT_TRUE(
      waitUntil([this] { return dock()->loaded() && inPage("window.mark ?? 'new'") == "new"; }));
}

TEST_F(Page, FailedPageHasAWayBackToTheOneBefore) {
  const PlainServer server("200 OK", "<title>There</title>");
  open(server.address("/there"));
  inPage("location.href = 'https://nowhere.example/'; 0");
  ASSERT_TRUE(waitUntil([this] { return in<QWidget>("errorPage").isVisible(); }));
  EXPECT_EQ(address(), "https://nowhere.example/");
  use(in<QPushButton>("back"));
  ASSERT_TRUE(waitUntil([this] { return dock()->loaded(); }));
  EXPECT_FALSE(in<QWidget>("errorPage").isVisible());
  EXPECT_EQ(inPage("location.pathname"), "/there");
}

TEST_F(Page, ScriptErrorsAndNewWindowsAreReportedBelowThePage) {
  const PlainServer server("200 OK", "<!doctype html>\n<script>\nnoSuchFunction();\n</script>\n");
  open(server.address("/broken.html"));
  ASSERT_TRUE(waitUntil([this] { return in<QWidget>("warningBar").isVisible(); }));
  EXPECT_EQ(warning(),
            "broken.html, line 3: Uncaught ReferenceError: noSuchFunction is not defined");
  EXPECT_TRUE(dock()->loaded());
  inPage("window.open('x'.repeat(4096)); 0");
  ASSERT_TRUE(waitUntil([this] { return warning().find("(warning 2)") != std::string::npos; }));
  EXPECT_EQ(warning().rfind("The page asked for a new window, which does not open here: ", 0), 0U);
  EXPECT_LT(in<QLabel>("warningText").text().size(), 300);
  EXPECT_LE(dock()->width(), 300);
  use(in<QToolButton>("dismissWarning"));
  EXPECT_FALSE(in<QWidget>("warningBar").isVisible());
}

TEST_F(Page, EndOfItsProcessIsReportedAndItsButtonReloadsIt) {
  const PlainServer server("200 OK", "<title>There</title>");
  open(server.address("/there"));
  ASSERT_EQ(kill(static_cast<pid_t>(dock()->view().page()->renderProcessPid()), SIGKILL), 0);
  ASSERT_TRUE(waitUntil([this] { return in<QWidget>("errorPage").isVisible(); }));
  EXPECT_EQ(reason(), "The process that showed the page has ended.");
  EXPECT_EQ(address(), server.address("/there"));
  use(in<QPushButton>("retry"));
  ASSERT_TRUE(waitUntil([this] { return dock()->loaded(); }));
  EXPECT_EQ(inPage("document.title"), "There");
}

}  // namespace
