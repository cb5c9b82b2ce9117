#pragma once

#include "PlayerLaunch.h"

#include <QSize>
#include <QString>
#include <QStringList>

// The player's command line: the slash switches Tapisol passes (PlayerHandOff.h), and the options
// a user types in a terminal to render a project to a video file instead of showing it.
struct PlayerCommandLine
{
    PlayerArguments switches;
    QString exportFile;           // --export FILE: render to a WebM file and exit
    QSize exportSize {1280, 720}; // --size WxH
    bool timings = false;         // --timings: print when each slide reaches the screen (bench/player.sh)
    bool help = false;            // --help, -h
    QString error;                // what was wrong with the options, empty when nothing

    /// Reads `arguments` (the program's name first); the interface texts must be loaded.
    static PlayerCommandLine parse(const QStringList& arguments);
};
