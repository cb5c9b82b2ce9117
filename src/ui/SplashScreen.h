#pragma once

#include <QSplashScreen>

// The start-up picture: the icon, the program's name and version, shown while the tray loads.
class SplashScreen : public QSplashScreen
{
    Q_OBJECT

public:
    SplashScreen();
};
