#include "Bars.h"

#include <QPainter>

#include <algorithm>
#include <cmath>

Bars::Bars()
{
    setAntialiasing(true);
    connect(this, &Bars::changed, this, [this] { update(); });
}

void Bars::setLit(double lit)
{
    auto const before = litCount();
    m_lit = lit;
    if (litCount() == before)
        return;
    update();
    Q_EMIT litChanged();
}

int Bars::litCount() const { return static_cast<int>(std::ceil(std::clamp(m_lit, 0.0, 1.0) * m_count)); }

void Bars::paint(QPainter* painter)
{
    auto const width = m_barWidth > 0 ? m_barWidth : (this->width() - m_spacing * (m_count - 1)) / m_count;
    auto const step = width + m_spacing;
    auto const count = m_count > 0 ? m_count : static_cast<int>(std::ceil(this->width() / step));
    auto const radius = std::min(width, height()) / 2;
    painter->setPen(Qt::NoPen);
    for (int i = 0; i < count; ++i) {
        painter->setBrush(i < litCount() ? m_litColor : m_color);
        painter->drawRoundedRect(QRectF(i * step, 0, width, height()), radius, radius);
    }
}
