#include "SplashScreen.h"

#include "AppPaths.h"
#include "AppState.h"

#include <QIcon>
#include <QLinearGradient>
#include <QPainter>

namespace {

QPixmap splashPicture()
{
    QPixmap picture(360, 160);
    QPainter painter(&picture);
    QLinearGradient sky(0, 0, 0, picture.height());
    sky.setColorAt(0, QColor(0x3b, 0x7d, 0xd8));
    sky.setColorAt(1, QColor(0x9f, 0xd0, 0xf5));
    painter.fillRect(picture.rect(), sky);
    const QIcon icon(AppPaths::readOnlyDataDir() + QStringLiteral("icons/tapisol.svg"));
    painter.drawPixmap(24, 48, icon.pixmap(64, 64));
    painter.setPen(Qt::white);
    QFont font = painter.font();
    font.setPointSize(24);
    font.setBold(true);
    painter.setFont(font);
    painter.drawText(QRect(104, 40, 240, 44), Qt::AlignLeft | Qt::AlignVCenter, programTitle());
    font.setPointSize(10);
    font.setBold(false);
    painter.setFont(font);
    painter.drawText(QRect(104, 84, 240, 24), Qt::AlignLeft | Qt::AlignVCenter,
        QStringLiteral("version ") + QStringLiteral(TAPISOL_VERSION_STRING));
    return picture;
}

} // namespace

SplashScreen::SplashScreen()
    : QSplashScreen(splashPicture())
{
    setObjectName(QStringLiteral("FrmSplash"));
}
