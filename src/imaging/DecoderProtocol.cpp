#include "DecoderProtocol.h"

#include <QDataStream>
#include <QIODevice>
#include <QtEndian>

namespace {

constexpr quint32 kRequestTag = 0x54504451; // "TPDQ"
constexpr quint32 kReplyTag = 0x54504452;   // "TPDR"

template <typename Fill> QByteArray frame(Fill fill)
{
    QByteArray payload;
    QDataStream out(&payload, QIODevice::WriteOnly);
    out.setVersion(QDataStream::Qt_6_4);
    fill(out);
    QByteArray result(4, Qt::Uninitialized);
    qToLittleEndian<quint32>(quint32(payload.size()), result.data());
    return result + payload;
}

} // namespace

namespace DecoderProtocol {

QByteArray encode(const Request& request)
{
    return frame([&](QDataStream& out) {
        out << kRequestTag << quint8(request.command) << request.path << request.target << quint32(request.background)
            << request.output << qint32(request.quality);
    });
}

QByteArray encode(const Reply& reply)
{
    return frame([&](QDataStream& out) {
        out << kReplyTag << reply.ok << reply.error << quint8(reply.failure) << quint8(reply.format)
            << reply.pictureSize << reply.decodedSize << reply.imageSize << reply.retiring;
    });
}

std::optional<Request> decodeRequest(const QByteArray& payload)
{
    QDataStream in(payload);
    in.setVersion(QDataStream::Qt_6_4);
    quint32 tag = 0, background = 0;
    quint8 command = 0;
    qint32 quality = 0;
    Request request;
    in >> tag >> command >> request.path >> request.target >> background >> request.output >> quality;
    if (in.status() != QDataStream::Ok || tag != kRequestTag || command < quint8(Command::Probe)
        || command > quint8(Command::Thumbnail))
        return std::nullopt;
    request.command = Command(command);
    request.background = background;
    request.quality = quality;
    return request;
}

std::optional<Reply> decodeReply(const QByteArray& payload)
{
    QDataStream in(payload);
    in.setVersion(QDataStream::Qt_6_4);
    quint32 tag = 0;
    quint8 failure = 0, format = 0;
    Reply reply;
    in >> tag >> reply.ok >> reply.error >> failure >> format >> reply.pictureSize >> reply.decodedSize
        >> reply.imageSize >> reply.retiring;
    if (in.status() != QDataStream::Ok || tag != kReplyTag || failure > quint8(Failure::Write)
        || format > quint8(PictureFormat::Emf))
        return std::nullopt;
    reply.failure = Failure(failure);
    reply.format = PictureFormat(format);
    return reply;
}

qint64 frameLength(const QByteArray& buffer)
{
    if (buffer.size() < 4)
        return -1;
    const quint32 length = qFromLittleEndian<quint32>(buffer.constData());
    return length > kMaxFrameBytes ? -2 : qint64(length);
}

} // namespace DecoderProtocol
