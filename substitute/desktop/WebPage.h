// A palette's page in the web engine, with the functions that the host offers to its script.
#pragma once

#include <QObject>
#include <QWebEnginePage>
#include <QWebEngineProfile>
#include <memory>

#include "substitute/desktop/LearningSite.h"
#include "substitute/desktop/Theme.h"

namespace substitute {

class Host;

// The web engine of all palettes; one for the process. It stores nothing on disk, and while the
// host is offline it blocks every request. Pages see the theme as the preferred colour scheme.
// `host` and `site` outlive it; it outlives every page.
class WebEngine {
 public:
  WebEngine(Host& host, const LearningSite& site, Theme theme);

  QWebEngineProfile& profile() { return *profile_; }
  bool offline() const;

 private:
  Host& host_;
  std::unique_ptr<QWebEngineProfile> profile_;
};

class WebPage;

// The object that the page's script calls through the function adsk.fusionSendData.
class PageBridge : public QObject {
  Q_OBJECT

 public:
  explicit PageBridge(WebPage& page);

  // Called when the page sends `data`. The result is the host's answer to the script. It is always
  // empty, since no handler of the add-in returns one.
  Q_INVOKABLE QString send(const QString& action, const QString& data);

 private:
  WebPage& page_;
};

class WebPage : public QWebEnginePage {
  Q_OBJECT

 public:
  // `engine` outlives the page.
  WebPage(WebEngine& engine, QObject* parent);

  // The error of the certificate that was refused last; empty when none was.
  const QString& refusedCertificate() const { return refusedCertificate_; }

 Q_SIGNALS:
  // The page's script has sent `data`. The script gets its answer when the receivers have returned.
  void messageSent(const QString& data);
  // The page's script threw, or logged an error, at `line` of the address `source`.
  void scriptFailed(const QString& message, int line, const QString& source);
  // The page asked for a new window for `address`. None is opened, since it is not known what the
  // real host does.
  void windowRefused(const QUrl& address);

 protected:
  void javaScriptConsoleMessage(JavaScriptConsoleMessageLevel level, const QString& message,
                                int line, const QString& source) override;

 private:
  QString refusedCertificate_;
};

}  // namespace substitute
