// A local learning site, as long as the real one does not exist: an HTTPS server on the loopback
// interface, to which the web engine resolves the placeholder host.
#pragma once

#include <QByteArray>
#include <QSslServer>
#include <QString>

namespace substitute {

class LearningSite {
 public:
  // The placeholder host, a name that no DNS server resolves.
  static constexpr const char* host = VELORIN_PLACEHOLDER_HOST;

  // Serves the files of `folder` until it is destroyed; the learning page is the file
  // "learning.html". `certificate` and `key` are PEM files. Throws std::runtime_error, with one
  // sentence, when that page is missing, a file cannot be read or no port is free.
  LearningSite(const QString& folder, const QString& certificate, const QString& key);
  LearningSite(const LearningSite&) = delete;
  LearningSite& operator=(const LearningSite&) = delete;

  // The command line switch by which the web engine resolves the placeholder host to this server.
  QByteArray engineSwitch() const;

 private:
  void respond(QTcpSocket& connection) const;

  QString folder_;
  QSslServer server_;
};

}  // namespace substitute
