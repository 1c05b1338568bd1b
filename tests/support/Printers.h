#pragma once

// Readable values in test failure messages.

#include <QByteArray>
#include <QString>

#include <ostream>

inline void PrintTo(const QString& value, std::ostream* os)
{
    *os << '"' << value.toStdString() << '"';
}
inline void PrintTo(const QByteArray& value, std::ostream* os)
{
    *os << '"' << value.toStdString() << '"';
}

// Parameter tables name their rows; print the name instead of the bytes.
#define BRINDLET_PRINT_CASE_NAME(Type)                                                                                 \
    [[maybe_unused]] inline void PrintTo(const Type& c, std::ostream* os)                                              \
    {                                                                                                                  \
        *os << c.name;                                                                                                 \
    }
