#include "marovin/platform/PlatformServices.h"

#include "marovin/ModelMessages.h"
#include "marovin/platform/BusyPointerScope.h"
#include "marovin/platform/CountingBusyPointer.h"
#include "marovin/platform/MessageBoxModelSink.h"
#include "marovin/platform/QtBusyPointer.h"
#include "marovin/platform/QtClipboard.h"
#include "marovin/platform/QtMessageBox.h"
#include "marovin/platform/QtSettingsStore.h"
#include "marovin/platform/ScriptedMessageBox.h"

#include <QApplication>
#include <QCoreApplication>
#include <QFile>
#include <QGuiApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTimer>
#include <gtest/gtest.h>
#include <stdexcept>

using namespace marovin;

TEST(ScriptedMessageBoxTest, AnswersQuestionsInOrderAndRecordsEveryBox) {
    ScriptedMessageBox box;
    box.QueueAnswer(MessageAnswer::No);
    box.QueueAnswer(MessageAnswer::Cancel);
    box.setDefaultAnswer(MessageAnswer::No);

    // A box with only OK neither uses nor needs an answer from the script.
    EXPECT_EQ(box.Show("Info", "Done", MessageIcon::Exclamation, MessageButtons::Ok),
              MessageAnswer::Ok);
    EXPECT_EQ(box.pendingAnswers(), 2u);
    EXPECT_EQ(box.Show("Q1", "Sure?", MessageIcon::Exclamation, MessageButtons::YesNo),
              MessageAnswer::No);
    EXPECT_EQ(box.Show("Q2", "Save?", MessageIcon::Exclamation, MessageButtons::YesNoCancel),
              MessageAnswer::Cancel);
    EXPECT_EQ(box.Show("Q3", "Again?", MessageIcon::Exclamation, MessageButtons::YesNo),
              MessageAnswer::No);

    ASSERT_EQ(box.shown().size(), 4u);
    EXPECT_EQ(box.shown()[0].strCaption, "Info");
    EXPECT_EQ(box.shown()[1].strText, "Sure?");
    EXPECT_EQ(box.shown()[2].buttons, MessageButtons::YesNoCancel);
    EXPECT_EQ(box.shown()[3].answer, MessageAnswer::No);
}

TEST(ScriptedMessageBoxTest, AnswerNotOfferedFallsBackToTheSafeChoice) {
    ScriptedMessageBox box;
    box.QueueAnswer(MessageAnswer::Cancel);
    EXPECT_EQ(box.Show("Q", "Yes or no?", MessageIcon::Exclamation, MessageButtons::YesNo),
              MessageAnswer::No);
}

TEST(QtMessageBoxTest, ReturnsTheButtonTheUserPressed) {
    QtMessageBox box;
    QString seenTitle;
    QString seenText;
    QMessageBox::Icon seenIcon = QMessageBox::NoIcon;
    QTimer::singleShot(0, [&] {
        auto* shown = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        ASSERT_NE(shown, nullptr);
        seenTitle = shown->windowTitle();
        seenText = shown->text();
        seenIcon = shown->icon();
        shown->button(QMessageBox::No)->click();
    });
    const MessageAnswer answer = box.Show("Remove a Table", "Do you really?",
                                          MessageIcon::Exclamation, MessageButtons::YesNo);
    EXPECT_EQ(answer, MessageAnswer::No);
    EXPECT_EQ(seenTitle, "Remove a Table");
    EXPECT_EQ(seenText, "Do you really?");
    EXPECT_EQ(seenIcon, QMessageBox::Warning);

    QTimer::singleShot(0, [] {
        auto* shown = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        ASSERT_NE(shown, nullptr);
        EXPECT_EQ(shown->icon(), QMessageBox::Critical);
        shown->button(QMessageBox::Cancel)->click();
    });
    EXPECT_EQ(box.Show("Close", "Save?", MessageIcon::Critical, MessageButtons::YesNoCancel),
              MessageAnswer::Cancel);
}

TEST(QtSettingsStoreTest, KeepsValuesBySectionAndKeyInAnIniFile) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString file = dir.filePath("settings.ini");
    {
        QtSettingsStore store(file);
        EXPECT_EQ(store.GetSetting("RelSizesDVPanes", "Positions", "none"), "none");
        store.SaveSetting("RelSizesDVPanes", "Positions", " .375, .6");
        store.SaveSetting("QueryPreview", "NrRecords", "200");
    }
    QtSettingsStore reopened(file);
    EXPECT_EQ(reopened.GetSetting("RelSizesDVPanes", "Positions", ""), " .375, .6");
    EXPECT_EQ(reopened.GetSetting("QueryPreview", "NrRecords", "50"), "200");
    // The same key in another section is another setting.
    EXPECT_EQ(reopened.GetSetting("QueryPreview", "Positions", "x"), "x");
}

TEST(QtSettingsStoreTest, DefaultStoreLivesUnderTheApplicationName) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, dir.path());
    const QString oldName = QCoreApplication::applicationName();
    QCoreApplication::setApplicationName("MarovinSettingsHost");
    {
        QtSettingsStore store;
        store.SaveSetting("InitValQueryParam", "ParamString", "Country");
        EXPECT_EQ(store.GetSetting("InitValQueryParam", "ParamString", ""), "Country");
    }
    QCoreApplication::setApplicationName(oldName);
    QFile written(dir.filePath("MarovinSettingsHost.conf"));
    ASSERT_TRUE(written.open(QIODevice::ReadOnly)) << written.fileName().toStdString();
    const QString content = QString::fromUtf8(written.readAll());
    EXPECT_TRUE(content.contains("[InitValQueryParam]"));
    EXPECT_TRUE(content.contains("ParamString=Country"));
}

TEST(BusyPointerTest, ScopeRestoresThePointerEvenWhenLeftByAnException) {
    QtBusyPointer pointer;
    ASSERT_EQ(QGuiApplication::overrideCursor(), nullptr);
    try {
        BusyPointerScope outer(&pointer);
        ASSERT_NE(QGuiApplication::overrideCursor(), nullptr);
        EXPECT_EQ(QGuiApplication::overrideCursor()->shape(), Qt::WaitCursor);
        { BusyPointerScope inner(&pointer); }
        EXPECT_NE(QGuiApplication::overrideCursor(), nullptr);
        throw std::runtime_error("failed while busy");
    } catch (const std::runtime_error&) {
    }
    EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr);

    CountingBusyPointer counting;
    {
        BusyPointerScope a(&counting);
        BusyPointerScope b(&counting);
        EXPECT_EQ(counting.lngDepth(), 2);
    }
    EXPECT_EQ(counting.lngDepth(), 0);
    EXPECT_EQ(counting.lngShown(), 2);
}

TEST(ClipboardTest, QtClipboardSetsReadsAndClearsText) {
    QtClipboard clipboard;
    clipboard.SetText("Freight\tOrderID\r\n\r\n1\t2");
    EXPECT_EQ(clipboard.Text(), "Freight\tOrderID\r\n\r\n1\t2");
    clipboard.Clear();
    EXPECT_TRUE(clipboard.Text().isEmpty());
}

TEST(PlatformServicesTest, WithDefaultsKeepsGivenServicesAndFillsTheRest) {
    auto scripted = std::make_shared<ScriptedMessageBox>();
    PlatformServices services;
    services.messageBox = scripted;
    const PlatformServices filled = services.withDefaults();
    EXPECT_EQ(filled.messageBox, scripted);
    ASSERT_NE(filled.settings, nullptr);
    ASSERT_NE(filled.clipboard, nullptr);
    ASSERT_NE(filled.busyPointer, nullptr);
    EXPECT_NE(dynamic_cast<QtSettingsStore*>(filled.settings.get()), nullptr);
    EXPECT_NE(dynamic_cast<QtBusyPointer*>(filled.busyPointer.get()), nullptr);
}

TEST(MessageBoxModelSinkTest, ModelMessagesReachTheMessageBox) {
    auto scripted = std::make_shared<ScriptedMessageBox>();
    SetModelMessageSink(std::make_shared<MessageBoxModelSink>(scripted));
    ShowModelCritical("OrderByItems.Add");
    SetModelMessageSink(nullptr);
    ASSERT_EQ(scripted->shown().size(), 1u);
    EXPECT_EQ(scripted->shown()[0].strText, "OrderByItems.Add");
    EXPECT_EQ(scripted->shown()[0].strCaption, QCoreApplication::applicationName());
    EXPECT_EQ(scripted->shown()[0].icon, MessageIcon::Critical);
    EXPECT_EQ(scripted->shown()[0].buttons, MessageButtons::Ok);
}
