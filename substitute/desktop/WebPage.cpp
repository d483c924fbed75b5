#include "substitute/desktop/WebPage.h"

#include <unistd.h>

#include <QFile>
#include <QLoggingCategory>
#include <QWebChannel>
#include <QWebEngineCertificateError>
#include <QWebEngineNewWindowRequest>
#include <QWebEngineScript>
#include <QWebEngineScriptCollection>
#include <QWebEngineSettings>
#include <QWebEngineUrlRequestInterceptor>

#include "substitute/api/Host.h"
#include "substitute/api/HostObjects.h"

namespace substitute {

namespace {

// Runs before the page's own scripts. A call waits until the channel is open.
constexpr const char* bridgeScript = R"(
(() => {
  const host = new Promise(resolve => {
    new QWebChannel(qt.webChannelTransport, channel => resolve(channel.objects.host));
  });
  window.adsk = {
    fusionSendData: (action, data) => host.then(bridge => new Promise(resolve => {
      bridge.send(String(action), String(data ?? ''), resolve);
    })),
  };
})();
)";

QString channelScript() {
  QFile file(":/qtwebchannel/qwebchannel.js");
  file.open(QIODevice::ReadOnly);
  return QString::fromUtf8(file.readAll());
}

// Sets the environment from which the engine reads its switches when the first profile is created.
void configureEngine(const LearningSite& site, Theme theme) {
  const char* const variable = "QTWEBENGINE_CHROMIUM_FLAGS";
  // Only fatal errors are logged: the engine would report the site's certificate at every load. The
  // user's switches come last, so they take effect.
  QByteArray switches = "--log-level=3 " + site.engineSwitch() + ' ';
  if (theme == Theme::dark) switches += "--force-dark-mode ";
  qputenv(variable, switches + qgetenv(variable));
  // No proxy can resolve the site's name.
  const char* const exceptions = qEnvironmentVariableIsSet("no_proxy") ? "no_proxy" : "NO_PROXY";
  const QByteArray others = qgetenv(exceptions);
  qputenv("no_proxy", LearningSite::host + (others.isEmpty() ? others : ',' + others));
  QLoggingCategory::setFilterRules("qt.webenginecontext.info=false");
  // The engine does not run as root with its sandbox.
  if (geteuid() == 0) qputenv("QTWEBENGINE_DISABLE_SANDBOX", "1");
}

class OfflineInterceptor : public QWebEngineUrlRequestInterceptor {
 public:
  OfflineInterceptor(const WebEngine& engine, QObject* parent)
      : QWebEngineUrlRequestInterceptor(parent), engine_(engine) {}

  void interceptRequest(QWebEngineUrlRequestInfo& request) override {
    if (engine_.offline()) request.block(true);
  }

 private:
  const WebEngine& engine_;
};

}  // namespace

WebEngine::WebEngine(Host& host, const LearningSite& site, Theme theme) : host_(host) {
  configureEngine(site, theme);
  profile_ = std::make_unique<QWebEngineProfile>();
  profile_->setUrlRequestInterceptor(new OfflineInterceptor(*this, profile_.get()));
  profile_->settings()->setAttribute(QWebEngineSettings::ErrorPageEnabled, false);
  QWebEngineScript script;
  script.setName("adsk");
  script.setInjectionPoint(QWebEngineScript::DocumentCreation);
  script.setWorldId(QWebEngineScript::MainWorld);
  script.setSourceCode(channelScript() + bridgeScript);
  profile_->scripts()->insert(script);
}

bool WebEngine::offline() const {
  return host_.application().offline;
}

PageBridge::PageBridge(WebPage& page) : QObject(&page), page_(page) {}

QString PageBridge::send(const QString& /*action*/, const QString& data) {
  Q_EMIT page_.messageSent(data);
  return {};
}

WebPage::WebPage(WebEngine& engine, QObject* parent) : QWebEnginePage(&engine.profile(), parent) {
  auto* const channel = new QWebChannel(this);
  channel->registerObject("host", new PageBridge(*this));
  setWebChannel(channel);
  connect(this, &QWebEnginePage::certificateError, this, [this](QWebEngineCertificateError error) {
    // Of the placeholder host there is the learning site alone.
    if (error.url().host() == LearningSite::host) return error.acceptCertificate();
    refusedCertificate_ = error.description();
    error.rejectCertificate();
  });
  connect(this, &QWebEnginePage::newWindowRequested, this,
          [this](const QWebEngineNewWindowRequest& request) {
            Q_EMIT windowRefused(request.requestedUrl());
          });
}

void WebPage::javaScriptConsoleMessage(JavaScriptConsoleMessageLevel level, const QString& message,
                                       int line, const QString& source) {
  // Also written to standard error, with its location.
  const QString withLocation = QStringLiteral("%1 (%2:%3)").arg(message, source).arg(line);
  QWebEnginePage::javaScriptConsoleMessage(level, withLocation, line, source);
  if (level == ErrorMessageLevel) Q_EMIT scriptFailed(message, line, source);
}

}  // namespace substitute
