#pragma once

// Readable values in test failure messages.

#include <QByteArray>
#include <QString>

#include <gtest/gtest.h>

#include <concepts>
#include <ostream>
#include <string>

inline void PrintTo(const QString& value, std::ostream* os)
{
    *os << '"' << value.toStdString() << '"';
}
inline void PrintTo(const QByteArray& value, std::ostream* os)
{
    *os << '"' << value.toStdString() << '"';
}

// A row of a parameter table: printed by its name, which also names its test.
struct NamedRow {
    const char* name;
};
template <std::derived_from<NamedRow> Row> void PrintTo(const Row& row, std::ostream* os)
{
    *os << row.name;
}
struct RowName {
    template <class Row> std::string operator()(const ::testing::TestParamInfo<Row>& info) const
    {
        return info.param.name;
    }
};
#define BRINDLET_ROWS(prefix, suite, ...)                                                                              \
    INSTANTIATE_TEST_SUITE_P(prefix, suite, ::testing::Values(__VA_ARGS__), RowName())
