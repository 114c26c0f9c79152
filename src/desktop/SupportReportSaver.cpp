#include "desktop/SupportReportSaver.h"

#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QMessageBox>
#include <QPointer>
#include <QThread>
#include <cstdlib>
#include <memory>

#include "app/linux/SystemProbes.h"
#include "base/Diagnostics.h"

namespace murvelo::desktop {

SupportReportSaver::SupportReportSaver(DefaultsStore& defaults,
                                       std::function<std::vector<SupportReport::Probe>()> programProbes)
    : defaults_(defaults), programProbes_(std::move(programProbes)) {}

SupportReportSaver::~SupportReportSaver() {
  if (worker_) worker_->wait();
}

std::string SupportReportSaver::build(DefaultsStore& defaults,
                                      std::vector<SupportReport::Probe> programProbes) {
  SupportReport::Facts facts;
  facts.createdAt = std::chrono::system_clock::now();
  facts.program = "murvelo";
  facts.build = SupportReport::buildFacts(qVersion());
  facts.sessionType = SupportReport::sessionType([](const char* name) { return std::getenv(name); });
  auto probes = SystemProbes::run();
  facts.probes = std::move(probes.probes);
  for (auto& probe : programProbes) facts.probes.push_back(std::move(probe));
  facts.devices = std::move(probes.devices);
  SupportReport::readStore(defaults, facts);
  facts.events = Diagnostics::shared().snapshot();
  return SupportReport::render(facts);
}

bool SupportReportSaver::write(const QString& path, std::function<void(Status)> done) {
  if (worker_) return false;
  auto extra = programProbes_ ? programProbes_() : std::vector<SupportReport::Probe>{};
  auto text = std::make_shared<std::string>();
  worker_ = QThread::create(
      [this, text, extra = std::move(extra)]() mutable { *text = build(defaults_, std::move(extra)); });
  connect(worker_, &QThread::finished, this, [this, path, text, done = std::move(done)] {
    worker_->deleteLater();
    worker_ = nullptr;
    QFile file(path);
    Status status = Status::ok();
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
        file.write(text->data(), static_cast<qint64>(text->size())) != static_cast<qint64>(text->size()))
      status = Status::error(file.errorString().toStdString());
    file.close();
    if (done) done(status);
  });
  worker_->start();
  return true;
}

void SupportReportSaver::save(QWidget* parent) {
  const QString suggested = QDir::home().filePath(
      QString::fromStdString(SupportReport::defaultFileName(std::chrono::system_clock::now())));
  const QString path =
      QFileDialog::getSaveFileName(parent, "Save support report", suggested, "Text files (*.txt)");
  if (path.isEmpty()) return;
  QPointer<QWidget> owner(parent);
  write(path, [path, owner](Status status) {
    auto* box = new QMessageBox(
        status ? QMessageBox::Information : QMessageBox::Warning, "Murvelo",
        status ? "The support report is saved as " + path +
                     ". It holds no dictated words, corrections, audio or clipboard contents."
               : "The support report could not be saved: " + QString::fromStdString(status.message()),
        QMessageBox::Ok, owner);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->show();
  });
}

}  // namespace murvelo::desktop
