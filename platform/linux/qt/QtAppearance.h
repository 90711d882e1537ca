#pragma once

#include <QDBusMessage>
#include <QObject>

#include <functional>

namespace lingrelay {

/// What the desktop asks windows to look like, from its settings portal; without one the palette decides. The
/// portal is asked without waiting for its answers. Main.
class QtAppearance final : public QObject {
    Q_OBJECT

public:
    QtAppearance();

    bool dark() const;
    bool reducedMotion() const { return m_reducedMotion; }
    std::function<void()> onChanged;

    /// For the message bus alone, which calls public slots only.
    Q_SLOT void settingChanged(QDBusMessage const& message);

private:
    enum class Scheme { none, dark, light };

    void ask(char const* space, char const* key);
    void take(QString const& space, QString const& key, QVariant const& value);
    bool eventFilter(QObject* watched, QEvent* event) override;

    Scheme m_scheme = Scheme::none;
    bool m_reducedMotion = false;
};

} // namespace lingrelay
