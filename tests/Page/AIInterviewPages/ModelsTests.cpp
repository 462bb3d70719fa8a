#include <Page/AIInterviewPages/AnswersModel.h>
#include <Page/AIInterviewPages/TranscriptModel.h>
#include <Page/View/AiInterviewCellMac.h>
#include <Tools/StreamModel.h>
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

TEST(AnswersModelTest, ShowsWhatARefreshTookOver) {
    AnswersModel model;
    const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    const auto make = [](int id) {
        return std::make_shared<StreamModel>(id, 1, QString(), QString(), QString(), QString());
    };
    const auto first = make(0);
    const auto second = make(1);
    first->append("before");
    model.append(first);
    model.append(second);
    EXPECT_EQ(model.index(0).data().toString().toStdString(), "before") << "pieces that came before the row";

    first->append(" and after");
    EXPECT_EQ(model.index(0).data().toString().toStdString(), "before");
    const QSignalSpy changed(&model, &AnswersModel::dataChanged);
    model.refresh(0);
    EXPECT_EQ(model.index(0).data().toString().toStdString(), "before and after");
    ASSERT_EQ(changed.count(), 1);
    EXPECT_EQ(changed[0][0].toModelIndex(), model.index(0));

    EXPECT_TRUE(model.isListed(1, second));
    EXPECT_FALSE(model.isListed(0, second));
    EXPECT_FALSE(model.isListed(2, second));
    model.clear();
    model.clear();
    EXPECT_EQ(model.rowCount(), 0);
    EXPECT_FALSE(model.isListed(0, first));
}

} // namespace
} // namespace parlowen
