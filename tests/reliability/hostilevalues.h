#ifndef TESSARK_TESTS_RELIABILITY_HOSTILEVALUES_H
#define TESSARK_TESTS_RELIABILITY_HOSTILEVALUES_H

#include <QRandomGenerator>
#include <QString>

namespace TessarkTest {

// This process's seed: TESSARK_TEST_SEED when set (to replay a failure), else random.
quint64 runSeed();

// Text made to break out of a quoted SQL literal: every fixed atom first, then
// random mixtures drawn from the seed. Never a NUL or a lone surrogate, so
// all three databases can store it.
class HostileValues
{
public:
    explicit HostileValues(quint64 seed) : m_random(seed) {}
    QString next();

private:
    QRandomGenerator m_random;
    int m_produced = 0;
};

} // namespace TessarkTest

#endif // TESSARK_TESTS_RELIABILITY_HOSTILEVALUES_H
