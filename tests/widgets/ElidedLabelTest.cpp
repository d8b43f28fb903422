// SPDX-License-Identifier: GPL-3.0-or-later
#include "widgets/ElidedLabel.h"

#include <gmock/gmock.h>

#include <QTextDocument>
#include <QTextDocumentFragment>

namespace lumaweave {

namespace {

// What the user reads in a tool tip, which may be taken for rich text.
QString readAs(const QString& toolTip) {
    return Qt::mightBeRichText(toolTip) ? QTextDocumentFragment::fromHtml(toolTip).toPlainText()
                                        : toolTip;
}

QImage painted(ElidedLabel& label) {
    QImage image(label.size(), QImage::Format_RGB32);
    image.fill(Qt::white);
    label.render(&image);
    return image;
}

}  // namespace

TEST(ElidedLabel, ItsTextIsWholeHoweverSmallItIs) {
    const QString name = "a very long name of a shot 2024-01-01 (bracket 3 of 5).tif";
    ElidedLabel label;
    label.setText(name);
    label.resize(40, 20);
    EXPECT_EQ(label.text(), name);
    (void)painted(label);
    EXPECT_EQ(label.text(), name);
}

TEST(ElidedLabel, ItsToolTipIsTheWholeNameAsItIsWritten) {
    ElidedLabel label;
    for (const QString name : {"shot.tif", "<b>x</b>.jpg", "a & b.jpg", "a &amp; b.jpg",
                               "1 < 2 > 0 \"q\".tif", "<img src=x>", "two  blanks.tif"}) {
        label.setText(name);
        EXPECT_EQ(readAs(label.toolTip()), name) << name.toStdString();
    }
}

TEST(ElidedLabel, ItsTextIsNeverRichText) {
    ElidedLabel label;
    label.setText("<b>x</b>.jpg");
    EXPECT_EQ(label.textFormat(), Qt::PlainText);
    EXPECT_EQ(label.text(), "<b>x</b>.jpg");
}

TEST(ElidedLabel, ANameThatDoesNotFitIsShortenedInTheMiddle) {
    ElidedLabel label;
    label.resize(120, 24);
    const QString first = "bracket one of the morning walk 1.tif";
    const QString last = "bracket one of the morning walk 2.tif";
    label.setText(first);
    const QImage one = painted(label);
    label.setText(last);
    const QImage two = painted(label);
    // Names differ at their ends, and that shows.
    EXPECT_NE(one, two);
    // The label paints what the font would shorten in the middle.
    const QString shortened =
        label.fontMetrics().elidedText(last, Qt::ElideMiddle, label.contentsRect().width());
    EXPECT_NE(shortened, last);
    label.setText(shortened);
    EXPECT_EQ(painted(label), two);
}

TEST(ElidedLabel, ItMayBecomeAsNarrowAsItsLayoutWants) {
    ElidedLabel label;
    label.setText("a very long name of a shot 2024-01-01 (bracket 3 of 5).tif");
    EXPECT_EQ(label.minimumSizeHint().width(), 0);
    EXPECT_GT(label.minimumSizeHint().height(), 0);
    EXPECT_GT(label.sizeHint().width(), 200);
}

}  // namespace lumaweave
