// The Qt class names of the vocabulary, in their order, shared by the tests
// of the type table and of the storage rows.
#pragma once

constexpr const char *kQtValueTypeNames[] = {
    "QChar", "QString", "QByteArray", "QObject", "QWidget", "QCursor", "QDate", "QSize", "QTime", "QVariantList",
    "QPolygon", "QColor", "QSizeF", "QRectF", "QLine", "QTextLength", "QStringList", "QVariantMap", "QIcon", "QPen",
    "QLineF", "QTextFormat", "QRect", "QPoint", "QUrl", "QRegExp", "QDateTime", "QPointF", "QPalette", "QFont",
    "QBrush", "QRegion", "QBitArray", "QImage", "QKeySequence", "QSizePolicy", "QPixmap", "QLocale", "QBitmap", "QMatrix",
};

constexpr const char *kQtExtraTypeNames[] = { "QPicture", "QModelIndex", "QItemSelection" };
