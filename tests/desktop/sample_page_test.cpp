// Accessibility and content of the sample learning page, in both languages and in both themes.
#include <gtest/gtest.h>

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
    bool done = false;
    bool loaded = false;
    const auto connection = QObject::connect(&view, &QWebEngineView::loadFinished, [&](bool good) {
      done = true;
      loaded = good;
    });
    view.load(QUrl(QStringLiteral("https://%1/fusion360/learning.asp?lang=%2&lic=EXAMPLE-%3")
                       .arg(LearningSite::host, language, QString(300, 'X'))));
    ASSERT_TRUE(waitUntil([&] { return done; }));
    QObject::disconnect(connection);
    ASSERT_TRUE(loaded);
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

  void empty() {
    inPage("search.value = ''; search.dispatchEvent(new Event('input', {bubbles: true})); 0");
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
  }
}

// The contrast of the borders with their background, since axe-core checks text alone.
TEST_F(SamplePage, BordersStandOut) {
  load("ENG");
  inPage("search.focus(); 0");
  const auto colour = [this](const char* expression) {
    const QStringList parts =
        inPage(QStringLiteral("getComputedStyle(%1.match(/\\d+/g).join()").arg(expression))
            .toString()
            .split(',');
    return QColor(parts[0].toInt(), parts[1].toInt(), parts[2].toInt());
  };
  const QColor ground = colour("document.body).backgroundColor");
  for (const char* const border : {"search).borderTopColor", "search).outlineColor",
                                   "document.querySelector('footer')).borderTopColor"}) {
    EXPECT_GE(contrast(colour(border), ground), 3) << border;
  }
  EXPECT_EQ(inPage("getComputedStyle(search).outlineStyle"), "solid");
  EXPECT_GE(contrast(colour("search, '::placeholder').color"), ground), 4.5);
}

TEST_F(SamplePage, ScrollsNotSidewaysAt200Pixels) {
  for (const char* const language : {"CSY", "ENG"}) {
    SCOPED_TRACE(language);
    load(language);
    view.resize(200, 600);
    ASSERT_TRUE(waitUntil([this] { return inPage("innerWidth").toInt() == 200; }));
    EXPECT_EQ(
        inPage("[...document.querySelectorAll('body *')].filter(element =>"
               " element.getBoundingClientRect().right > document.documentElement.clientWidth)"
               ".map(element => element.outerHTML.slice(0, 60)).join()"),
        "");
    view.resize(300, 700);
  }
}

TEST_F(SamplePage, AnnouncesWhatIsFoundAndOpened) {
  load("CSY");
  EXPECT_EQ(statusText(), "");
  type("otvor");
  ASSERT_TRUE(waitUntil([this] { return statusText() == QString::fromUtf8("Nalezené lekce: 1"); }));
  empty();
  EXPECT_EQ(statusText(), QString::fromUtf8("Nalezené lekce: 5"));
  // Whether the style sheet has arrived or not, what is searched is in one language.
  load("ENG");
  EXPECT_EQ(inPage("document.querySelector('.lesson h2').textContent"), "Your first sketch");
  type("hole");
  ASSERT_TRUE(waitUntil([this] { return statusText() == "Lessons found: 1"; }));
  empty();
  inPage("document.querySelector('.lesson').focus(); 0");
  // Also when the focus comes back to the link, and once only.
  for (int i = 0; i < 2; ++i) {
    inPage("document.querySelector('[role=status]').textContent = ''; 0");
    QTest::keyClick(view.focusProxy(), Qt::Key_Return);
    ASSERT_TRUE(
        waitUntil([this] { return statusText() == "Your first sketch: opened in the browser"; }));
  }
  EXPECT_EQ(inPage("document.querySelector('.lesson small').textContent"),
            "5 min, opened in the browser");
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
  EXPECT_LE(inPage("document.documentElement.scrollWidth").toInt(),
            inPage("document.documentElement.clientWidth").toInt());
}

}  // namespace
