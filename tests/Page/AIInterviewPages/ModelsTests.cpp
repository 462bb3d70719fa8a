#include <Page/AIInterviewPages/TranscriptModel.h>
#include <Page/View/AiInterviewCellMac.h>
#include <gmock/gmock.h>

#include <QAbstractItemModelTester>
#include <QSignalSpy>

namespace parlowen {
namespace {

using Row = KXTranslationHistoryDetailsModel;

Row row(const char* text) {
    Row made;
    made.sourceText = QString::fromUtf8(text);
    return made;
}

TEST(TranscriptModelTest, TheSentenceInProgressTurnsIntoAFinishedRowInPlace) {
    TranscriptModel model;
    const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    model.setFontSize(18);
    const QSignalSpy inserted(&model, &TranscriptModel::rowsInserted);
    const QSignalSpy changed(&model, &TranscriptModel::dataChanged);
    const QSignalSpy removed(&model, &TranscriptModel::rowsRemoved);

    model.setCenterModel(row("tell"));
    model.setCenterModel(row("tell me"));
    model.finish(row("Tell me."));
    EXPECT_EQ(inserted.count(), 1);
    EXPECT_EQ(changed.count(), 2);
    EXPECT_EQ(removed.count(), 0);
    EXPECT_FALSE(model.centerModel());
    model.finish(row("Why?"));
    EXPECT_EQ(inserted.count(), 2);
    EXPECT_EQ(model.rowCount(), 2);

    const auto shown = model.index(1).data(AiInterviewCellMac::modelRole).value<Row>();
    EXPECT_EQ(shown.index, 2) << "numbers start at 1";
    EXPECT_EQ(shown.font, 18);
    EXPECT_EQ(model.topArr()[1], row("Why?")) << "the number belongs to the display";
    EXPECT_FALSE(model.index(2).data().isValid());
}

} // namespace
} // namespace parlowen
