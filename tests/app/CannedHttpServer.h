#pragma once

#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>

#include <optional>

// A real HTTP/1.1 server on 127.0.0.1 that answers every request with one canned body, or never
// answers at all (no body). It keeps the request line it received.
class CannedHttpServer
{
public:
    explicit CannedHttpServer(std::optional<QByteArray> body)
        : m_body(std::move(body))
    {
        m_server.listen(QHostAddress::LocalHost);
        QObject::connect(&m_server, &QTcpServer::newConnection, [this] {
            while (QTcpSocket* socket = m_server.nextPendingConnection())
                QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] { onData(socket); });
        });
    }

    QString host() const { return QStringLiteral("http://127.0.0.1:%1").arg(m_server.serverPort()); }
    /// The first line of the last request, e.g. "GET /path?query HTTP/1.1".
    QByteArray requestLine() const { return m_requestLine; }

    /// A host on which nothing listens: the port of a server closed again.
    static QString refusingHost()
    {
        CannedHttpServer probe(std::nullopt);
        const QString host = probe.host();
        probe.m_server.close();
        return host;
    }

private:
    void onData(QTcpSocket* socket)
    {
        m_request += socket->readAll();
        if (!m_request.contains("\r\n\r\n"))
            return;
        m_requestLine = m_request.left(m_request.indexOf("\r\n"));
        m_request.clear();
        if (!m_body)
            return;
        socket->write("HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: " + QByteArray::number(m_body->size())
            + "\r\n\r\n" + *m_body);
        socket->disconnectFromHost();
    }

    QTcpServer m_server;
    std::optional<QByteArray> m_body;
    QByteArray m_request;
    QByteArray m_requestLine;
};
