#include "ui/launch/Translations.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>

#ifdef SONMERE_HAS_TRANSLATIONS
// In a static library nothing else brings them in; the macro wants to stand outside of namespaces.
static void bringInTranslations() { Q_INIT_RESOURCE(translations); }
#else
static void bringInTranslations() {}
#endif

namespace sonmere {
namespace {

bool install(const QLocale& locale, const QString& name, const QString& folder) {
  auto* translator = new QTranslator(QCoreApplication::instance());
  if (translator->load(locale, name, QStringLiteral("_"), folder))
    return QCoreApplication::installTranslator(translator);
  delete translator;
  return false;
}

}  // namespace

void installTranslations(const QString& language) {
  bringInTranslations();
  const QLocale locale = language.isEmpty() ? QLocale() : QLocale(language);
  QLocale::setDefault(locale);
  install(locale, QStringLiteral("qtbase"), QLibraryInfo::path(QLibraryInfo::TranslationsPath));
  const QString name = QStringLiteral("sonmere"), folder = QStringLiteral(":/translations");
  // The texts in the code are English, but for the words that go with a number.
  if (!install(locale, name, folder)) install(QLocale(QLocale::English), name, folder);
}

}  // namespace sonmere
