#pragma once

#include <QtGlobal>

#include <random>

// The one source of chance of the program (the random picture order), seedable so that tests
// can replay a draw.
class RandomGenerator
{
public:
    RandomGenerator();
    /// A number drawn uniformly from [0, 1).
    double uniform01();
    /// Starts a repeatable sequence.
    void seed(quint64 value);

private:
    std::mt19937_64 m_engine;
};

/// The program's generator, seeded from the system at start.
RandomGenerator& appRandom();
