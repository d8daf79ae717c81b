// SPDX-License-Identifier: MIT
// tidewell-icon-render: renders an SVG icon to a square PNG of the given size, for the icon
// theme's fixed-size folders (a build tool, not installed).
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>

#include <cstdio>

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fputs("usage: tidewell-icon-render ICON.svg SIZE OUT.png\n", stderr);
        return 2;
    }
    // No display is needed: the offscreen platform suffices for painting into an image.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication application(argc, argv);
    bool sizeOk = false;
    const int size = QString::fromLocal8Bit(argv[2]).toInt(&sizeOk);
    QSvgRenderer renderer(QString::fromLocal8Bit(argv[1]));
    if (!sizeOk || size <= 0 || size > 4096 || !renderer.isValid()) {
        std::fprintf(stderr, "tidewell-icon-render: cannot render %s at %s\n", argv[1], argv[2]);
        return 1;
    }
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    renderer.render(&painter);
    painter.end();
    if (!image.save(QString::fromLocal8Bit(argv[3]), "PNG")) {
        std::fprintf(stderr, "tidewell-icon-render: cannot write %s\n", argv[3]);
        return 1;
    }
    return 0;
}
