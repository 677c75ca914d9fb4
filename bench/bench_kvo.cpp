#include <benchmark/benchmark.h>

#include <any>

#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

namespace {

class Player : public QMObject {
  public:
    void setRate(float rate) {
        willChangeValueForKey("rate");
        rate_ = rate;
        didChangeValueForKey("rate", rate_);
    }

  private:
    float rate_ = 0;
};

class RateObserver : public QMObject {
  public:
    void observeValueForKeyPath(const std::string&, QMObject*, const QMKeyValueChange& change,
                                void*) override {
        sum_ += std::any_cast<float>(change.at(NSKeyValueChangeNewKey));
    }
    float sum() const { return sum_; }

  private:
    float sum_ = 0;
};

// One "rate" change delivered to as many observers as a monitored player has (plugin, metrics,
// diagnostics), with observations of other key paths present that must be passed over.
void BM_KeyValueDeliveryToObservers(benchmark::State& state) {
    auto player = std::make_shared<Player>();
    std::vector<std::shared_ptr<RateObserver>> observers;
    for (int64_t i = 0; i < state.range(0); ++i) {
        observers.push_back(std::make_shared<RateObserver>());
        player->addObserver(observers.back().get(), "rate", NSKeyValueObservingOptionNew, nullptr);
        player->addObserver(observers.back().get(), "status", NSKeyValueObservingOptionNew, nullptr);
    }
    float rate = 0;
    for (auto _ : state) {
        player->setRate(rate += 1.0f);
    }
    benchmark::DoNotOptimize(observers.front()->sum());
    for (const auto& observer : observers) {
        player->removeObserver(observer.get(), "rate");
        player->removeObserver(observer.get(), "status");
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_KeyValueDeliveryToObservers)->Arg(1)->Arg(4);

}  // namespace

}  // namespace veyrakit
