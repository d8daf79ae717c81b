// SPDX-License-Identifier: MIT
// The exclusion list's cell: geometry and drawing.
#include "CustomIconCell.h"

#include <QApplication>
#include <QPainter>

#include <cmath>

namespace {
// Cuts `amount` off the left of `rect` (never more than it has): the slice and what remains.
std::pair<QRectF, QRectF> divideAtLeftEdge(const QRectF& rect, qreal amount) {
    amount = std::clamp(amount, qreal(0), std::max(rect.width(), qreal(0)));
    return {QRectF(rect.x(), rect.y(), amount, rect.height()),
            QRectF(rect.x() + amount, rect.y(), rect.width() - amount, rect.height())};
}
} // namespace

CustomIconCell::CustomIconCell(QObject* parent) : QStyledItemDelegate(parent) {}

QRectF CustomIconCell::imageFrameForCellFrame(const QRectF& frame, std::optional<QSizeF> image) {
    if (!image)
        return {};
    return QRectF(frame.x() + 3.0, frame.y() + std::ceil((frame.height() - image->height()) * 0.5),
                  image->width(), image->height());
}

QRectF CustomIconCell::textFrameForCellFrame(const QRectF& frame, std::optional<QSizeF> image) {
    return divideAtLeftEdge(frame, (image ? image->width() : 0.0) + 3.0).second;
}

CustomIconCell::DrawingLayout
CustomIconCell::drawingLayoutForCellFrame(const QRectF& frame, std::optional<QSizeF> image) {
    if (!image)
        return {{}, {}, frame};
    const auto [slice, text] = divideAtLeftEdge(frame, image->width() + 5.0);
    return {slice, QRectF(slice.x() + 3.0, slice.y(), image->width(), image->height()), text};
}

QSizeF CustomIconCell::cellSize(const QSizeF& textSize, std::optional<QSizeF> image) {
    return {textSize.width() + (image ? image->width() : 0.0) + 3.0, textSize.height()};
}

std::optional<QSizeF> CustomIconCell::imageSize(const QModelIndex& index) {
    const QVariant icon = index.data(Qt::DecorationRole);
    if (!icon.canConvert<QIcon>() || icon.value<QIcon>().isNull())
        return std::nullopt;
    return QSizeF(iconSide, iconSide);
}

void CustomIconCell::paint(QPainter* painter, const QStyleOptionViewItem& option,
                           const QModelIndex& index) const {
    const std::optional<QSizeF> image = imageSize(index);
    QStyleOptionViewItem textOption = option;
    initStyleOption(&textOption, index);
    // The icon is this cell's to draw; the text part is the ordinary item's.
    textOption.features &= ~QStyleOptionViewItem::HasDecoration;
    textOption.icon = QIcon();
    QStyle* style = option.widget ? option.widget->style() : QApplication::style();
    if (image) {
        const DrawingLayout layout = drawingLayoutForCellFrame(option.rect, image);
        // The row's selection runs under the icon too, as the table draws it across the row.
        style->drawPrimitive(QStyle::PE_PanelItemViewItem, &option, painter, option.widget);
        if (drawsBackground_)
            painter->fillRect(layout.slice, option.palette.base());
        const QIcon icon = index.data(Qt::DecorationRole).value<QIcon>();
        const QIcon::Mode mode =
            (option.state & QStyle::State_Selected) ? QIcon::Selected : QIcon::Normal;
        icon.paint(painter, layout.image.toRect(), Qt::AlignCenter, mode);
        textOption.rect = layout.text.toRect();
    }
    style->drawControl(QStyle::CE_ItemViewItem, &textOption, painter, option.widget);
}

QSize CustomIconCell::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const {
    QStyleOptionViewItem textOption = option;
    initStyleOption(&textOption, index);
    textOption.features &= ~QStyleOptionViewItem::HasDecoration;
    QStyle* style = option.widget ? option.widget->style() : QApplication::style();
    const QSize text =
        style->sizeFromContents(QStyle::CT_ItemViewItem, &textOption, QSize(), option.widget);
    return cellSize(text, imageSize(index)).toSize();
}

void CustomIconCell::updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                                          const QModelIndex& index) const {
    editor->setGeometry(textFrameForCellFrame(option.rect, imageSize(index)).toRect());
}
