#include "marovin/platform/EmptyHint.h"

#include <QAbstractItemModel>
#include <QAbstractItemView>
#include <QEvent>
#include <QLabel>
#include <QPointer>

namespace marovin {

namespace {

// Keeps the hint over the viewport: resized with it, shown exactly while the model has no rows.
class EmptyHintKeeper final : public QObject {
public:
    EmptyHintKeeper(QAbstractItemView* view, QLabel* label)
        : QObject(label), m_view(view), m_label(label) {
        view->viewport()->installEventFilter(this);
        if (QAbstractItemModel* model = view->model()) {
            for (auto signal :
                 {&QAbstractItemModel::rowsInserted, &QAbstractItemModel::rowsRemoved})
                connect(model, signal, this, [this] { update(); });
            connect(model, &QAbstractItemModel::modelReset, this, [this] { update(); });
            connect(model, &QAbstractItemModel::layoutChanged, this, [this] { update(); });
        }
        update();
    }

    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Resize && m_view != nullptr && watched == m_view->viewport())
            place();
        return false;
    }

private:
    void place() {
        const int margin = m_label->fontMetrics().height();
        m_label->setGeometry(m_view->viewport()->rect().adjusted(margin, 0, -margin, 0));
    }

    void update() {
        if (m_view == nullptr)
            return;
        const QAbstractItemModel* model = m_view->model();
        const bool empty = model == nullptr || model->rowCount(m_view->rootIndex()) == 0;
        place();
        m_label->setVisible(empty);
    }

    QPointer<QAbstractItemView> m_view;
    QLabel* m_label; // Not owned: the keeper is the label's child.
};

} // namespace

QLabel* installEmptyHint(QAbstractItemView* view, const QString& text) {
    auto* label = new QLabel(text, view->viewport());
    label->setObjectName(view->objectName() + QStringLiteral("Hint"));
    label->setAlignment(Qt::AlignCenter);
    label->setWordWrap(true);
    label->setAttribute(Qt::WA_TransparentForMouseEvents);
    label->setForegroundRole(QPalette::PlaceholderText);
    new EmptyHintKeeper(view, label);
    return label;
}

} // namespace marovin
