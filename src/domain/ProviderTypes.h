#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

namespace brindlet {

struct ProviderConfiguration {
    QString ollamaURL; // as the user typed it
    QString ollamaModel; // may be empty
    friend bool operator==(const ProviderConfiguration&, const ProviderConfiguration&) = default;
};

struct ProviderReadiness {
    Q_GADGET
    Q_PROPERTY(State state MEMBER state)
    Q_PROPERTY(QString detail MEMBER detail)
    Q_PROPERTY(QStringList ollamaModels MEMBER ollamaModels)

public:
    enum class State { checking, ready, unavailable };
    Q_ENUM(State)
    State state = State::checking;
    QString detail;
    QStringList ollamaModels; // empty except for Ollama

    static ProviderReadiness checkingValue() { return { State::checking, QStringLiteral("Checking…"), {} }; }
    friend bool operator==(const ProviderReadiness&, const ProviderReadiness&) = default;
};

} // namespace brindlet
