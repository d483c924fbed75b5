// A palette's page in the web engine, with what the host gives to its script.
#pragma once

#include <QObject>
#include <QWebEnginePage>
#include <QWebEngineProfile>

#include "substitute/desktop/LearningSite.h"
#include "substitute/desktop/Theme.h"

namespace substitute {

class Host;

// The web engine as all palettes use it. It keeps nothing on disk, and while the host is offline
// it reaches no network. Pages are told the theme. `host` and `site` outlive it; it outlives every
// page. One for the process.
class WebEngine {
 public:
  WebEngine(Host& host, const LearningSite& site, Theme theme);

  QWebEngineProfile& profile() { return profile_; }
  const LearningSite& site() const { return site_; }
  bool offline() const;

 private:
  Host& host_;
  const LearningSite& site_;
  QWebEngineProfile profile_;
};

// What the page's script reaches through the function adsk.fusionSendData.
class PageBridge : public QObject {
  Q_OBJECT

 public:
  using QObject::QObject;

  // The page sends `data`. The result is the host's answer to the script, always empty here: no
  // handler of the add-in gives one.
  Q_INVOKABLE QString send(const QString& action, const QString& data);

 Q_SIGNALS:
  void sent(const QString& action, const QString& data);
};

class WebPage : public QWebEnginePage {
  Q_OBJECT

 public:
  // `engine` outlives the page.
  WebPage(WebEngine& engine, QObject* parent);

  // What is wrong with the certificate that was refused last; empty when none was.
  const QString& refusedCertificate() const { return refusedCertificate_; }

 Q_SIGNALS:
  // The page's script has sent `data`. The receiver runs before the script gets its answer.
  void messageSent(const QString& data);
  // The page's script has failed, or reports an error, in `line` of `source`, an address.
  void scriptFailed(const QString& message, int line, const QString& source);
  // The page has asked for a window of its own for `address`. None is opened: what the host does
  // then is not known.
  void windowRefused(const QUrl& address);

 protected:
  void javaScriptConsoleMessage(JavaScriptConsoleMessageLevel level, const QString& message,
                                int line, const QString& source) override;

 private:
  QString refusedCertificate_;
};

}  // namespace substitute
