// Accessibility and content of the sample learning page, in both languages and in both themes.
#include "tests/desktop/DesktopFixture.h"

namespace {

using namespace substitute;

// What axe-core finds wrong in a page: one line each, the rule and the elements.
QStringList violations(QWebEnginePage& page) {
  QFile file(VELORIN_AXE);
  if (!file.open(QIODevice::ReadOnly)) throw std::runtime_error("axe-core is not installed");
  valueIn(page, QString::fromUtf8(file.readAll()) + "; 0");
  valueIn(page, R"(
    window.found = null;
    axe.run(document, {rules: {'target-size': {enabled: true}}}).then(results => {
      window.found = {
        wrong: results.violations.map(
          rule => rule.id + ': ' + rule.nodes.map(node => node.target.join(' ')).join(', ')),
        passed: results.passes.map(rule => rule.id),
      };
    }, error => { window.found = {wrong: [String(error)], passed: []}; });
    0)");
  EXPECT_TRUE(waitUntil([&] { return valueIn(page, "window.found !== null").toBool(); }));
  // Without a result about contrast, axe-core has not checked the page.
  EXPECT_TRUE(valueIn(page, "window.found.passed.includes('color-contrast')").toBool());
  return valueIn(page, "window.found.wrong").toStringList();
}

class SamplePage : public Desktop {
 protected:
  SamplePage() {
    view.setPage(new WebPage(engine, &view));
    view.resize(300, 700);
    view.show();
  }

  // Shows the page in a language, given by the host's code for it.
  void load(const QString& language) {
    const QSignalSpy loaded(&view, &QWebEngineView::loadFinished);
    view.load(QUrl(QStringLiteral("https://%1/fusion360/learning.asp?lang=%2&lic=EXAMPLE-%3")
                       .arg(LearningSite::host, language, QString(300, 'X'))));
    ASSERT_TRUE(waitUntil([&] { return !loaded.isEmpty(); }));
    ASSERT_TRUE(loaded[0][0].toBool());
    ASSERT_EQ(inPage("matchMedia('(prefers-color-scheme: dark)').matches"),
              testTheme() == Theme::dark);
  }

  QVariant inPage(const QString& expression) { return valueIn(*view.page(), expression); }
  QString statusText() {
    return inPage("document.querySelector('[role=status]').innerText").toString();
  }

  void type(const QString& text) {
    inPage("document.getElementById('search').focus(); 0");
    QTest::keyClicks(view.focusProxy(), text);
  }

  void expectNoScrollingSideways() {
    EXPECT_LE(inPage("document.documentElement.scrollWidth").toInt(),
              inPage("document.documentElement.clientWidth").toInt());
  }

  QWebEngineView view;
};

TEST_F(SamplePage, IsFoundFaultlessByAxe) {
  for (const char* const language : {"CSY", "ENG"}) {
    SCOPED_TRACE(language);
    load(language);
    EXPECT_EQ(violations(*view.page()), QStringList());
    inPage("document.querySelector('.lesson').click(); 0");
    ASSERT_TRUE(waitUntil(
        [this] { return inPage("document.querySelector('.opened') !== null").toBool(); }));
    EXPECT_EQ(violations(*view.page()), QStringList()) << "with a lesson opened";
    type("xyz");
    ASSERT_TRUE(waitUntil([this] { return !inPage("nothing.hidden").toBool(); }));
    EXPECT_EQ(violations(*view.page()), QStringList()) << "with nothing found";
    view.resize(200, 600);
    ASSERT_TRUE(waitUntil([this] { return inPage("innerWidth").toInt() == 200; }));
    expectNoScrollingSideways();
    view.resize(300, 700);
  }
}

TEST_F(SamplePage, AnnouncesWhatIsFoundAndOpened) {
  load("ENG");
  EXPECT_EQ(statusText(), "");
  type("hole");
  ASSERT_TRUE(waitUntil([this] { return statusText() == "Lessons found: 1"; }));
  inPage("search.value = ''; search.dispatchEvent(new Event('input', {bubbles: true})); 0");
  inPage("document.querySelector('.lesson').focus(); 0");
  QTest::keyClick(view.focusProxy(), Qt::Key_Return);
  EXPECT_TRUE(
      waitUntil([this] { return statusText() == "Your first sketch: opened in the browser"; }));
}

// The engine escapes some characters of the address, and the page decodes them. Percent signs of
// the host's text do not change.
TEST_F(SamplePage, ShowsTheLicenceAsTheHostGaveIt) {
  for (const char* const text :
       {"VELORIN-EXAMPLE 2026", "100 %", "%41%26%23 is not A&#", "%c5%bd is small",
        "\"quoted\" <b>'", "back`tick^{|}\\", "Žlutý kůň 漢字 🐎", "a&lic=b&lang=ENG#c#d",
        "%FF%E2%82 broken", "+ and %2B", "x\x01y\x7fz"}) {
    SCOPED_TRACE(text);
    host.setEntitlement(text);
    startWithPage();
    EXPECT_EQ(Desktop::inPage("document.getElementById('licence').innerText").toString(),
              QString::fromUtf8(text));
    window.play("stop");
    setCounter(0);
  }
}

TEST_F(SamplePage, GuideForInstallingIsFoundFaultlessByAxe) {
  QFile file(VELORIN_GUIDE);
  ASSERT_TRUE(file.open(QIODevice::ReadOnly));
  view.setHtml(QString::fromUtf8(file.readAll()).replace("@PROJECT_VERSION@", "1.0.0"));
  view.resize(200, 700);
  ASSERT_TRUE(waitUntil([this] { return inPage("document.links.length").toInt() == 2; }));
  EXPECT_EQ(violations(*view.page()), QStringList());
  expectNoScrollingSideways();
}

}  // namespace
