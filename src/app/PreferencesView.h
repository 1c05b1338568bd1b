#pragma once

// What the settings window and onboarding read and change, as QML reads it: the behaviour
// switches, starting at login, accessibility, the three shortcuts with their recorder, the
// providers' readiness and the Ollama choices, and onboarding's step.

#include "platform/linux/X11InputMonitor.h"

#include "domain/Enums.h"
#include "tasks/Task.h"

#include <QObject>
#include <QPointer>
#include <QVariantList>

namespace brindlet {

class AppModel;
class SettingsStore;

class PreferencesView : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool keepRunning READ keepRunning WRITE setKeepRunning NOTIFY changed)
    Q_PROPERTY(bool showBubble READ showBubble WRITE setShowBubble NOTIFY changed)
    Q_PROPERTY(bool analytics READ analytics WRITE setAnalytics NOTIFY changed)
    Q_PROPERTY(bool startAtLogin READ startAtLogin WRITE setStartAtLogin NOTIFY changed)
    Q_PROPERTY(QString startAtLoginError READ startAtLoginError NOTIFY changed)
    Q_PROPERTY(bool accessibilityGranted READ accessibilityGranted NOTIFY changed)
    // Each as { title, subtitle, display, cleared, isDefault, message }, in the actions' order.
    Q_PROPERTY(QVariantList shortcuts READ shortcuts NOTIFY changed)
    Q_PROPERTY(int recording READ recording NOTIFY changed)
    // Each as { name, subtitle, ready, detail, current }, in the providers' order.
    Q_PROPERTY(QVariantList providers READ providers NOTIFY changed)
    Q_PROPERTY(int provider READ provider WRITE setProvider NOTIFY changed)
    Q_PROPERTY(bool isOllama READ isOllama NOTIFY changed)
    Q_PROPERTY(QString ollamaURL READ ollamaURL WRITE setOllamaURL NOTIFY changed)
    Q_PROPERTY(QString ollamaModel READ ollamaModel WRITE setOllamaModel NOTIFY changed)
    Q_PROPERTY(QStringList ollamaModels READ ollamaModels NOTIFY changed)
    Q_PROPERTY(QString ollamaDetail READ ollamaDetail NOTIFY changed)
    Q_PROPERTY(bool isRefreshingOllamaModels READ isRefreshingOllamaModels NOTIFY changed)
    Q_PROPERTY(bool isProviderReady READ isProviderReady NOTIFY changed)
    Q_PROPERTY(int onboardingStep READ onboardingStep WRITE setOnboardingStep NOTIFY changed)
    Q_PROPERTY(bool hasCompletedOnboarding READ hasCompletedOnboarding NOTIFY changed)
    Q_PROPERTY(QString statusText READ statusText NOTIFY changed)
    // The settings window's visible section: general, AI or presets.
    Q_PROPERTY(int section READ section WRITE setSection NOTIFY changed)
    // What went wrong when a sign-in could not be opened, if anything.
    Q_PROPERTY(QString signInMessage READ signInMessage NOTIFY changed)

public:
    PreferencesView(AppModel& model, SettingsStore& settings, QObject* parent = nullptr);

    bool keepRunning() const;
    void setKeepRunning(bool value);
    bool showBubble() const;
    void setShowBubble(bool value);
    bool analytics() const;
    void setAnalytics(bool value);
    bool startAtLogin() const;
    void setStartAtLogin(bool value);
    QString startAtLoginError() const { return startAtLoginError_; }
    bool accessibilityGranted() const;
    QVariantList shortcuts() const;
    int recording() const { return recording_; }
    QVariantList providers() const;
    int provider() const;
    void setProvider(int index);
    bool isOllama() const;
    QString ollamaURL() const;
    void setOllamaURL(const QString& value);
    QString ollamaModel() const;
    void setOllamaModel(const QString& value);
    QStringList ollamaModels() const;
    QString ollamaDetail() const;
    bool isRefreshingOllamaModels() const;
    bool isProviderReady() const;
    int onboardingStep() const;
    void setOnboardingStep(int step);
    bool hasCompletedOnboarding() const;
    QString statusText() const;
    QString signInMessage() const { return signInMessage_; }
    int section() const;
    void setSection(int index);

    Q_INVOKABLE void requestAccessibility();
    Q_INVOKABLE void refreshAccessibility();
    Q_INVOKABLE void restartOnboarding();
    Q_INVOKABLE void finishOnboarding();
    Q_INVOKABLE void checkProvidersAgain();
    Q_INVOKABLE void refreshOllamaModels();
    // Opens the provider's own sign-in in a terminal; the terminal ends with Brindlet.
    Q_INVOKABLE void signIn(int index);
    // The recorder: while one records, the global shortcuts are off and every key press on the
    // desktop is read, also a chord another program holds, which its window would never get.
    Q_INVOKABLE void beginRecording(int index);
    Q_INVOKABLE void endRecording();
    Q_INVOKABLE void clearShortcut(int index);
    Q_INVOKABLE void restoreDefaultShortcut(int index);

signals:
    void changed();

private:
    void recordPress(unsigned int x11KeyCode, unsigned int x11Modifiers);
    static Task<void> openSignIn(QPointer<PreferencesView> view, ProviderKind kind);
    void setSignInMessage(const QString& message);

    AppModel& model_;
    SettingsStore& settings_;
    int recording_ = -1;
    QString startAtLoginError_;
    X11InputMonitor keys_;
    QString signInMessage_;
};

} // namespace brindlet
