// SPDX-License-Identifier: MIT
// The exclusion list's cell: an application's icon at the left edge, its name as text beside it.
#pragma once

#include <QIcon>
#include <QRectF>
#include <QSizeF>
#include <QStyledItemDelegate>

#include <optional>

class CustomIconCell : public QStyledItemDelegate {
    Q_OBJECT

  public:
    explicit CustomIconCell(QObject* parent = nullptr);

    // The geometry, for a cell frame and the icon's size (none: a cell without an icon).
    // Where the icon belongs: 3 points in, centred vertically (rounded up); empty without icon.
    static QRectF imageFrameForCellFrame(const QRectF& frame, std::optional<QSizeF> image);
    // Where text is edited and selected: right of the icon and a 3-point gap.
    static QRectF textFrameForCellFrame(const QRectF& frame, std::optional<QSizeF> image);
    // Drawing: the slice cut off the left for the icon (icon width + 5), where the icon is drawn
    // in it (3 points in, at the top, at its own size) and the text frame that remains. Without
    // an icon the slice and the icon rectangle are empty and the text has the whole frame.
    struct DrawingLayout {
        QRectF slice;
        QRectF image;
        QRectF text;
    };
    static DrawingLayout drawingLayoutForCellFrame(const QRectF& frame,
                                                   std::optional<QSizeF> image);
    // The cell's size: the text's own size widened by the icon and a 3-point gap.
    static QSizeF cellSize(const QSizeF& textSize, std::optional<QSizeF> image);

    // The icon's size in the cell (the list's icons are 16 x 16).
    static constexpr qreal iconSide = 16.0;
    // Whether the icon's slice is filled with the background colour before drawing.
    bool drawsBackground() const { return drawsBackground_; }
    void setDrawsBackground(bool draws) { drawsBackground_ = draws; }

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    void updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                              const QModelIndex& index) const override;

  private:
    static std::optional<QSizeF> imageSize(const QModelIndex& index);
    bool drawsBackground_ = false;
};
