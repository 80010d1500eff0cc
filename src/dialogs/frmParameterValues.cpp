#include "marovin/frmParameterValues.h"

#include "DialogSupport.h"
#include "marovin/QueryParameters.h"
#include "marovin/Utilities.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPalette>
#include <QPushButton>
#include <QVBoxLayout>

namespace marovin {

namespace {

const QString kCaption = QStringLiteral("Query Parameter Values");

// A parameter's name as a label caption: "&" would otherwise start a mnemonic.
QString labelText(const std::string& name) {
    return QString::fromStdString(name).replace(QLatin1Char('&'), QStringLiteral("&&"));
}

} // namespace

frmParameterValues::frmParameterValues(PlatformServices services, QWidget* parent)
    : QDialog(parent), m_services(services.withDefaults(this)) {
    setObjectName(QStringLiteral("frmParameterValues"));
    setWindowTitle(kCaption);
    setAccessibleName(kCaption);

    auto* intro = new QLabel(QStringLiteral("Enter a value for each parameter of the query. "
                                            "Numbers are used as they are, other values are "
                                            "put in single quotes."),
                             this);
    intro->setObjectName(QStringLiteral("lblIntroduction"));
    intro->setWordWrap(true);

    auto* rows = new QGridLayout;
    rows->setColumnStretch(1, 1);
    rows->setHorizontalSpacing(12);
    for (int row = 0; row < kRows; ++row) {
        auto* label = new QLabel(this);
        auto* value = new QLineEdit(this);
        label->setObjectName(QStringLiteral("lblParameter"));
        value->setObjectName(QStringLiteral("txtValue"));
        label->setBuddy(value);
        label->setMinimumWidth(120);
        rows->addWidget(label, row, 0);
        rows->addWidget(value, row, 1);
        m_lblParameter[static_cast<size_t>(row)] = label;
        m_txtValue[static_cast<size_t>(row)] = value;
        connect(value, &QLineEdit::textChanged, this,
                [this] { guarded(m_services.messageBox.get(), kCaption, [this] { EnableOK(); }); });
    }

    m_OKButton = new QPushButton(QStringLiteral("&OK"), this);
    nameControl(m_OKButton, "OKButton", QStringLiteral("OK"));
    m_OKButton->setDefault(true);
    m_CancelButton = new QPushButton(QStringLiteral("&Cancel"), this);
    nameControl(m_CancelButton, "CancelButton", QStringLiteral("Cancel"));
    connect(m_OKButton, &QPushButton::clicked, this,
            [this] { guarded(m_services.messageBox.get(), kCaption, [this] { confirm(); }); });
    connect(m_CancelButton, &QPushButton::clicked, this, &QDialog::reject);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(m_OKButton);
    buttons->addWidget(m_CancelButton);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(intro);
    layout->addSpacing(4);
    layout->addLayout(rows);
    layout->addStretch(1);
    layout->addLayout(buttons);

    // Tab goes down the value fields, then to OK and Cancel.
    QWidget* previous = m_txtValue[0];
    for (int row = 1; row < kRows; ++row) {
        setTabOrder(previous, m_txtValue[static_cast<size_t>(row)]);
        previous = m_txtValue[static_cast<size_t>(row)];
    }
    setTabOrder(previous, m_OKButton);
    setTabOrder(m_OKButton, m_CancelButton);

    // Until parameters are given there is nothing to ask for and nothing to confirm.
    setColParameters(nullptr);
    restoreDialogSize(*this, m_services.settings.get(), QString::fromLatin1(kSizeKey),
                      QSize(460, 430));
}

frmParameterValues::~frmParameterValues() = default;

int frmParameterValues::parameterCount() const {
    if (!m_colParameters)
        return 0;
    return std::min(static_cast<int>(m_colParameters->size()), kRows);
}

void frmParameterValues::setColParameters(std::shared_ptr<std::vector<std::string>> parameters) {
    m_colParameters = std::move(parameters);
    m_colValues.reset();
    const int count = parameterCount();

    // The rows of parameters get their names and the values remembered from the last time,
    // by position: the first remembered value goes to whatever parameter stands first now.
    const std::vector<std::string> remembered =
        splitRememberedValues(m_services.settings
                                  ->GetSetting(QString::fromLatin1(kRememberedValuesSection.data(),
                                                                   kRememberedValuesSection.size()),
                                               QString::fromLatin1(kRememberedValuesKey.data(),
                                                                   kRememberedValuesKey.size()),
                                               QString())
                                  .toStdString());

    for (int row = 0; row < kRows; ++row) {
        QLabel* label = m_lblParameter[static_cast<size_t>(row)];
        QLineEdit* value = m_txtValue[static_cast<size_t>(row)];
        const bool used = row < count;
        const QSignalBlocker block(value);
        label->setEnabled(used);
        value->setEnabled(used);
        if (used) {
            const std::string& name = (*m_colParameters)[static_cast<size_t>(row)];
            label->setText(labelText(name));
            value->setAccessibleName(QString::fromStdString(name));
            value->setPalette(QPalette());
            value->setText(static_cast<size_t>(row) < remembered.size()
                               ? QString::fromStdString(remembered[static_cast<size_t>(row)])
                               : QString());
        } else {
            // Rows without a parameter read as greyed out: the field takes the button face.
            label->setText(QString());
            value->setAccessibleName(QStringLiteral("Unused parameter row %1").arg(row + 1));
            QPalette greyed = value->palette();
            greyed.setColor(QPalette::Base, greyed.color(QPalette::Button));
            value->setPalette(greyed);
            value->clear();
        }
    }

    if (!m_colParameters) {
        m_OKButton->setEnabled(false);
        return;
    }
    EnableOK();
    if (count > 0)
        m_txtValue[0]->setFocus();
}

void frmParameterValues::EnableOK() {
    if (!m_colParameters) {
        m_OKButton->setEnabled(false);
        return;
    }
    bool complete = true;
    for (int row = 0; row < parameterCount(); ++row) {
        if (Trim(m_txtValue[static_cast<size_t>(row)]->text().toStdString()).empty())
            complete = false;
    }
    m_OKButton->setEnabled(complete);
}

void frmParameterValues::confirm() {
    if (!m_OKButton->isEnabled())
        return;
    auto values = std::make_shared<std::vector<std::string>>();
    std::vector<std::string> typed;
    for (int row = 0; row < parameterCount(); ++row) {
        const std::string text = m_txtValue[static_cast<size_t>(row)]->text().toStdString();
        typed.push_back(text);
        values->push_back(quoteParameterValue(text));
    }
    m_services.settings->SaveSetting(
        QString::fromLatin1(kRememberedValuesSection.data(), kRememberedValuesSection.size()),
        QString::fromLatin1(kRememberedValuesKey.data(), kRememberedValuesKey.size()),
        QString::fromStdString(joinRememberedValues(typed)));
    m_colValues = std::move(values);
    accept();
}

void frmParameterValues::done(int result) {
    // Only OK hands values back; every other way out (Cancel, Escape, closing the window)
    // leaves none and keeps the remembered values as they were.
    if (result != QDialog::Accepted)
        m_colValues.reset();
    guarded(m_services.messageBox.get(), kCaption, [this] {
        saveDialogSize(*this, m_services.settings.get(), QString::fromLatin1(kSizeKey));
    });
    QDialog::done(result);
}

} // namespace marovin
