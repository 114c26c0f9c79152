#include "desktop/ModelManager.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "app/SetupChecks.h"
#include "speech/ModelCatalog.h"
#include "speech/ModelInventory.h"
#include "speech/WhisperModelChoice.h"
#include "speech/whisper/ModelDownloader.h"

namespace murvelo::desktop {
namespace {

QString qs(const std::string& text) { return QString::fromStdString(text); }

}  // namespace

std::optional<ModelSource> officialSource(const std::string& name) {
  auto entry = ModelCatalog::find(name);
  if (!entry) return std::nullopt;
  // The catalogue's sizes are rounded: a tenth more and a mebibyte is room enough.
  return ModelSource{ModelCatalog::baseUrl() + ModelCatalog::fileName(name), entry->sha1,
                     entry->approximateBytes + entry->approximateBytes / 10 + (1u << 20)};
}

ModelDownloadRow::ModelDownloadRow(QWidget* parent) : QWidget(parent) {
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  auto* line = new QHBoxLayout;
  bar_ = new QProgressBar(this);
  bar_->setTextVisible(true);
  cancel_ = new QPushButton("Cancel", this);
  line->addWidget(bar_, 1);
  line->addWidget(cancel_);
  status_ = new QLabel(this);
  status_->setWordWrap(true);
  status_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  layout->addLayout(line);
  layout->addWidget(status_);
  bar_->hide();
  cancel_->hide();
  connect(cancel_, &QPushButton::clicked, this, [this] { cancel(); });
}

ModelDownloadRow::~ModelDownloadRow() {
  if (cancelFlag_) cancelFlag_->store(true);
  if (worker_.joinable()) worker_.join();
}

bool ModelDownloadRow::start(const std::string& name) {
  if (running_) return false;
  auto source = source_ ? source_(name) : std::nullopt;
  if (!source) return false;
  if (worker_.joinable()) worker_.join();
  running_ = true;
  cancelFlag_ = std::make_shared<std::atomic<bool>>(false);
  bar_->setRange(0, 0);
  bar_->show();
  cancel_->show();
  cancel_->setEnabled(true);
  status_->setText(qs("Downloading " + name + "…"));
  const auto destination = WhisperModelChoice::modelsDirectory() / ModelCatalog::fileName(name);
  QPointer<ModelDownloadRow> self(this);
  worker_ = std::thread([self, name, destination, source = *source, flag = cancelFlag_] {
    Status status = ModelDownloader::download(
        source.url, destination, source.sha1,
        [self](const ModelDownloader::Progress& p) {
          QMetaObject::invokeMethod(
              self,
              [self, p] {
                if (self) self->progressed(p.received, p.total);
              },
              Qt::QueuedConnection);
        },
        source.maxBytes, flag.get());
    QMetaObject::invokeMethod(
        self,
        [self, name, status] {
          if (self) self->ended(name, status);
        },
        Qt::QueuedConnection);
  });
  return true;
}

void ModelDownloadRow::cancel() {
  if (!running_ || !cancelFlag_) return;
  cancelFlag_->store(true);
  cancel_->setEnabled(false);
  status_->setText("Cancelling…");
}

void ModelDownloadRow::progressed(std::uint64_t received, std::uint64_t total) {
  if (!running_) return;
  if (total == 0) {
    bar_->setRange(0, 0);
    bar_->setFormat(qs(ModelInventory::sizeText(received)));
    return;
  }
  // In kibibytes: a progress bar counts in int.
  bar_->setRange(0, static_cast<int>(total / 1024));
  bar_->setValue(static_cast<int>(received / 1024));
  bar_->setFormat(
      qs(ModelInventory::sizeText(received) + " of " + ModelInventory::sizeText(total) + " (%p%)"));
}

void ModelDownloadRow::ended(const std::string& name, const Status& status) {
  running_ = false;
  if (worker_.joinable()) worker_.join();
  bar_->hide();
  cancel_->hide();
  if (status)
    status_->setText(qs(name + " is installed; its checksum matches the published one."));
  else
    status_->setText(qs(name + " was not installed: " + status.message()));
  if (finished_) finished_(name, status);
}

ModelManager::ModelManager(Hooks hooks, QWidget* parent) : QWidget(parent), hooks_(std::move(hooks)) {
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(new QLabel("Installed whisper models", this));
  installed_ = new QTreeWidget(this);
  installed_->setColumnCount(3);
  installed_->setHeaderLabels({"Model", "Size", ""});
  installed_->setRootIsDecorated(false);
  installed_->header()->setSectionResizeMode(0, QHeaderView::Stretch);
  installed_->setMinimumHeight(90);
  layout->addWidget(installed_);
  auto* actions = new QHBoxLayout;
  delete_ = new QPushButton("Delete", this);
  actions->addStretch(1);
  actions->addWidget(delete_);
  layout->addLayout(actions);

  auto* get = new QHBoxLayout;
  offers_ = new QComboBox(this);
  download_ = new QPushButton("Download", this);
  get->addWidget(offers_, 1);
  get->addWidget(download_);
  layout->addLayout(get);
  row_ = new ModelDownloadRow(this);
  if (hooks_.source) row_->setSource(hooks_.source);
  layout->addWidget(row_);
  message_ = new QLabel(this);
  message_->setWordWrap(true);
  layout->addWidget(message_);

  connect(delete_, &QPushButton::clicked, this, [this] { removeSelected(); });
  connect(download_, &QPushButton::clicked, this,
          [this] { download(offers_->currentData().toString().toStdString()); });
  connect(installed_, &QTreeWidget::itemSelectionChanged, this,
          [this] { delete_->setEnabled(!installed_->selectedItems().isEmpty()); });
  row_->setFinished([this](const std::string&, const Status& status) {
    download_->setEnabled(true);
    if (status && hooks_.modelsChanged) hooks_.modelsChanged();
    refresh();
  });
  refresh();
}

void ModelManager::refresh() {
  const auto directory = WhisperModelChoice::modelsDirectory();
  const auto used = hooks_.modelInUse ? hooks_.modelInUse() : std::nullopt;
  installed_->clear();
  for (const auto& model : ModelInventory::installed(directory, used)) {
    auto* item = new QTreeWidgetItem(
        {qs(model.name), qs(ModelInventory::sizeText(model.bytes)), model.used ? "in use" : ""});
    item->setData(0, Qt::UserRole, qs(model.name));
    installed_->addTopLevelItem(item);
  }
  if (installed_->topLevelItemCount() == 0)
    message_->setText(
        "No whisper model is installed: PocketSphinx recognises speech until you download one.");
  else if (!used)
    message_->setText("PocketSphinx is in use (the engine setting, or no model could be loaded).");
  else
    message_->setText(
        qs("The engine uses " + used->filename().string() + ": the best English model installed."));
  delete_->setEnabled(!installed_->selectedItems().isEmpty());

  const QString keep = offers_->currentData().toString();
  offers_->clear();
  for (const auto& offer : ModelInventory::offers(directory)) {
    if (offer.installed) continue;
    const bool recommended = offer.name == kGuideModel;
    offers_->addItem(qs(offer.name + " — " + ModelInventory::sizeText(offer.approximateBytes) +
                        (recommended ? " (recommended)" : "")),
                     qs(offer.name));
  }
  if (int at = offers_->findData(keep.isEmpty() ? QString(kGuideModel) : keep); at >= 0)
    offers_->setCurrentIndex(at);
  download_->setEnabled(offers_->count() > 0 && !row_->busy());
}

void ModelManager::download(const std::string& name) {
  if (row_->start(name)) download_->setEnabled(false);
}

void ModelManager::removeSelected() {
  auto selected = installed_->selectedItems();
  if (selected.isEmpty()) return;
  const std::string name = selected.front()->data(0, Qt::UserRole).toString().toStdString();
  Status removed = ModelInventory::remove(WhisperModelChoice::modelsDirectory(), name);
  row_->status()->setText(
      qs(removed ? name + " was deleted." : "Could not delete " + name + ": " + removed.message()));
  if (removed && hooks_.modelsChanged) hooks_.modelsChanged();
  refresh();
}

}  // namespace murvelo::desktop
