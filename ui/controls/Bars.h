#pragma once

#include <QColor>
#include <QQuickPaintedItem>
#include <QtQml/qqmlregistration.h>

/// Round-ended bars side by side, drawn as one item, since dozens of rectangles take long to make. Main, but for
/// `paint`.
class Bars : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(int count MEMBER m_count NOTIFY changed) ///< 0: as many as are begun within the width
    Q_PROPERTY(double barWidth MEMBER m_barWidth NOTIFY changed) ///< 0: they share the width
    Q_PROPERTY(double spacing MEMBER m_spacing NOTIFY changed)
    Q_PROPERTY(QColor color MEMBER m_color NOTIFY changed)
    Q_PROPERTY(QColor litColor MEMBER m_litColor NOTIFY changed)
    Q_PROPERTY(double lit READ lit WRITE setLit NOTIFY litChanged) ///< the part of them, 0 to 1, in the other colour
    Q_PROPERTY(int litCount READ litCount NOTIFY litChanged)

public:
    Bars();

    double lit() const { return m_lit; }
    void setLit(double lit);
    int litCount() const;
    void paint(QPainter* painter) override;

    Q_SIGNAL void changed();
    Q_SIGNAL void litChanged();

private:
    int m_count = 0;
    double m_barWidth = 0;
    double m_spacing = 0;
    QColor m_color;
    QColor m_litColor;
    double m_lit = 0;
};
