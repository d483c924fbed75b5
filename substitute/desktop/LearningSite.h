// The learning site while it has no host of its own: a folder served over HTTPS on loopback, which
// the web engine takes for the placeholder host.
#pragma once

#include <QByteArray>
#include <QSslCertificate>
#include <QSslServer>
#include <QString>

namespace substitute {

class LearningSite {
 public:
  // The placeholder host, a name that no network knows.
  static constexpr const char* host = VELORIN_PLACEHOLDER_HOST;

  // Serves the files of `folder`, the learning page as "learning.html", until its end. Certificate
  // and key are the PEM files `certificate` and `key`. Throws std::runtime_error, with one
  // sentence, when there is no such page, or a file cannot be read, or no port is free.
  LearningSite(const QString& folder, const QString& certificate, const QString& key);
  LearningSite(const LearningSite&) = delete;
  LearningSite& operator=(const LearningSite&) = delete;

  // The engine's switch that leads the placeholder host here; any other host is left to the
  // network.
  QByteArray engineSwitch() const;

  // True for the certificate that this site shows, which no authority has signed.
  bool isOwnCertificate(const QSslCertificate& certificate) const;

 private:
  void respond(QTcpSocket& connection) const;

  QString folder_;
  QSslCertificate certificate_;
  QSslServer server_;
};

}  // namespace substitute
