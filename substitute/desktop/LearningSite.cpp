#include "substitute/desktop/LearningSite.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMimeDatabase>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslKey>
#include <QTcpSocket>
#include <QUrl>
#include <stdexcept>

namespace substitute {

namespace {

constexpr const char* root = "/fusion360/";
constexpr const char* pagePath = "/fusion360/learning.asp";
constexpr const char* pageFile = "learning.html";
constexpr qint64 maxRequestSize = 65536;

QByteArray contentOf(const QString& name) {
  QFile file(name);
  if (!file.open(QIODevice::ReadOnly)) {
    throw std::runtime_error("the file " + name.toStdString() + " cannot be read");
  }
  return file.readAll();
}

// The file in `folder` that a request line such as "GET /fusion360/learning.asp?lang=CSY HTTP/1.1"
// asks for; empty when it asks for none.
QString requestedFile(const QString& folder, const QByteArray& requestLine) {
  const QList<QByteArray> words = requestLine.trimmed().split(' ');
  if (words.size() != 3 || words[0] != "GET") return {};
  const QString path = QUrl(QString::fromUtf8(words[1])).path();
  if (!path.startsWith(root)) return {};
  const QString name = path == pagePath ? pageFile : path.mid(static_cast<int>(qstrlen(root)));
  // Resolved before it is compared, so that neither ".." nor a link leads out of the folder.
  const QString file = QFileInfo(QDir(folder).filePath(name)).canonicalFilePath();
  return file.startsWith(folder + '/') && QFileInfo(file).isFile() ? file : QString();
}

}  // namespace

LearningSite::LearningSite(const QString& folder, const QString& certificate, const QString& key)
    : folder_(QFileInfo(folder).canonicalFilePath()) {
  if (folder_.isEmpty() || !QFileInfo(folder_ + '/' + pageFile).isFile()) {
    throw std::runtime_error("the folder " + folder.toStdString() + " holds no " + pageFile);
  }
  QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
  configuration.setLocalCertificate(QSslCertificate(contentOf(certificate)));
  configuration.setPrivateKey(QSslKey(contentOf(key), QSsl::Ec));
  configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
  server_.setSslConfiguration(configuration);
  QObject::connect(&server_, &QTcpServer::pendingConnectionAvailable, &server_, [this] {
    while (QTcpSocket* const connection = server_.nextPendingConnection()) {
      QObject::connect(connection, &QTcpSocket::disconnected, connection, &QObject::deleteLater);
      QObject::connect(connection, &QTcpSocket::readyRead, connection,
                       [this, connection] { respond(*connection); });
      respond(*connection);
    }
  });
  if (!server_.listen(QHostAddress::LocalHost)) {
    throw std::runtime_error("no port is free for the learning site: " +
                             server_.errorString().toStdString());
  }
}

QByteArray LearningSite::engineSwitch() const {
  return QByteArray("--host-resolver-rules=\"MAP ") + host +
         ":443 127.0.0.1:" + QByteArray::number(server_.serverPort()) + '"';
}

// One request for each connection. Called whenever bytes have arrived.
void LearningSite::respond(QTcpSocket& connection) const {
  const QByteArray request = connection.peek(maxRequestSize);
  if (!request.contains("\r\n\r\n")) {
    if (request.size() == maxRequestSize) connection.abort();
    return;
  }
  connection.readAll();
  const QString file = requestedFile(folder_, request.left(request.indexOf("\r\n")));
  QFile content(file);
  const bool found = !file.isEmpty() && content.open(QIODevice::ReadOnly);
  const QByteArray body = found ? content.readAll() : QByteArray("There is no such page.\n");
  QByteArray type = found ? QMimeDatabase().mimeTypeForFile(file).name().toLatin1() : "text/plain";
  if (type.startsWith("text/")) type += "; charset=utf-8";
  // Not cached: a change of the page is seen at the next start.
  connection.write(QByteArray("HTTP/1.1 ") + (found ? "200 OK" : "404 Not Found") +
                   "\r\nContent-Type: " + type +
                   "\r\nContent-Length: " + QByteArray::number(body.size()) +
                   "\r\nCache-Control: no-store\r\nConnection: close\r\n\r\n" + body);
  connection.disconnectFromHost();
}

}  // namespace substitute
