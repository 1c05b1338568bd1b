#pragma once

// The settings' preset library, as QML reads it: the custom presets under a search, the one
// being edited, and edits that write straight through to the settings store.

#include "domain/Preset.h"

#include <QObject>
#include <QVariantList>

namespace brindlet {

class SettingsStore;

class PresetLibraryView : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString search READ search WRITE setSearch NOTIFY changed)
    // Each as { id, name }.
    Q_PROPERTY(QVariantList presets READ presets NOTIFY changed)
    Q_PROPERTY(int customCount READ customCount NOTIFY changed)
    Q_PROPERTY(bool hasSelection READ hasSelection NOTIFY changed)
    Q_PROPERTY(QString selectedID READ selectedID NOTIFY changed)
    Q_PROPERTY(QString name READ name WRITE setName NOTIFY changed)
    Q_PROPERTY(QString instruction READ instruction WRITE setInstruction NOTIFY changed)
    // Indexes into the input and delivery choices, in their declared order.
    Q_PROPERTY(int input READ input WRITE setInput NOTIFY changed)
    Q_PROPERTY(int delivery READ delivery WRITE setDelivery NOTIFY changed)

public:
    explicit PresetLibraryView(SettingsStore& settings, QObject* parent = nullptr);

    QString search() const { return search_; }
    void setSearch(const QString& value);
    QVariantList presets() const;
    int customCount() const;
    bool hasSelection() const { return selected().has_value(); }
    QString selectedID() const { return selected_.toString(QUuid::WithoutBraces); }
    QString name() const { return selected().value_or(Preset {}).name; }
    void setName(const QString& value);
    QString instruction() const { return selected().value_or(Preset {}).instruction; }
    void setInstruction(const QString& value);
    int input() const;
    void setInput(int index);
    int delivery() const;
    void setDelivery(int index);

    Q_INVOKABLE void select(const QString& id);
    Q_INVOKABLE void addPreset();
    Q_INVOKABLE void remove(const QString& id);

signals:
    void changed();

private:
    std::optional<Preset> selected() const;
    void edit(const std::function<void(Preset&)>& change);

    SettingsStore& settings_;
    QString search_;
    QUuid selected_;
};

} // namespace brindlet
