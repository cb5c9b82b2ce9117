#include "RandomGenerator.h"

RandomGenerator::RandomGenerator()
    : m_engine(std::random_device {}())
{ }

double RandomGenerator::uniform01()
{
    return std::uniform_real_distribution<double>(0.0, 1.0)(m_engine);
}

void RandomGenerator::seed(quint64 value)
{
    m_engine.seed(value);
}

RandomGenerator& appRandom()
{
    static RandomGenerator generator;
    return generator;
}
