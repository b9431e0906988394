#pragma once

#include <optional>
#include <vector>

#include <QString>
#include <QStringList>

namespace Zendra::Runner
{

/// A script that is run as a test.
struct TestCase {
    QString name; ///< its path from the folder that was given, without .zs
    QString fileName;
};

/// Which part of a suite to run on this machine, from 1 to `count`.
struct Shard {
    int number = 1;
    int count = 1;
};

/// Of the form "I/N". Throws a Failure of status WrongUsage.
Shard toShard(const QString& text);

/// The scripts at the paths, of which folders are searched for *.zs, each with a name of its own and in the
/// order of their names. Throws a Failure of status WrongUsage.
std::vector<TestCase> findTests(const QStringList& paths);

/// Those whose names match a pattern with * and ?.
std::vector<TestCase> filtered(const std::vector<TestCase>& tests, const QString& pattern);
std::vector<TestCase> ofShard(const std::vector<TestCase>& tests, const Shard& shard);
/// In an order that depends on `seed` only.
void shuffle(std::vector<TestCase>& tests, unsigned int seed);

} // namespace Zendra::Runner
