// qobject: Qt's QObject as a peer: named, and with a property set by its name.
#include <benchmark/benchmark.h>

#include <QObject>
#include <QVariant>

namespace {

void peer_qobject_create_delete(benchmark::State &state) {
  const QString name = QStringLiteral("a lamp in the hall");
  for (auto _ : state) {
    auto *object = new QObject;
    object->setObjectName(name);
    benchmark::DoNotOptimize(object);
    delete object;
  }
}
BENCHMARK(peer_qobject_create_delete);

void peer_qobject_set(benchmark::State &state) {
  QObject object;
  const QString names[2] = {QStringLiteral("one"), QStringLiteral("two")};
  unsigned turn = 0;
  for (auto _ : state) object.setProperty("objectName", names[++turn & 1]);
}
BENCHMARK(peer_qobject_set);

}  // namespace
