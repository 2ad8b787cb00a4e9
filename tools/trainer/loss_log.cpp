#include "trainer/loss_log.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

bool write_loss_csv(const std::vector<EpochRow>& history, const std::string& path) {
  std::FILE* file = std::fopen(path.c_str(), "w");
  if (!file) {
    std::perror(path.c_str());
    return false;
  }
  std::fprintf(file, "epoch,train_loss,validation_loss,learning_rate,positions_per_second,seconds\n");
  for (const EpochRow& r : history)
    std::fprintf(file, "%d,%.8f,%.8f,%.6g,%.0f,%.2f\n", r.epoch, r.train_loss, r.validation_loss, r.learning_rate,
                 r.positions_per_second, r.seconds);
  return std::fclose(file) == 0;
}

namespace {

// A step of 1, 2 or 5 times a power of ten that cuts span into about five parts.
double tick_step(double span) {
  const double rough = span / 5;
  const double power = std::pow(10.0, std::floor(std::log10(rough)));
  const double f = rough / power;
  return power * (f < 1.5 ? 1 : f < 3.5 ? 2 : f < 7.5 ? 5 : 10);
}

}  // namespace

bool write_loss_svg(const std::vector<EpochRow>& history, const std::string& path) {
  std::FILE* file = std::fopen(path.c_str(), "w");
  if (!file) {
    std::perror(path.c_str());
    return false;
  }
  constexpr double W = 800, H = 500, LEFT = 90, RIGHT = 30, TOP = 50, BOTTOM = 70;
  const double plot_w = W - LEFT - RIGHT, plot_h = H - TOP - BOTTOM;
  double low = 1e300, high = -1e300;
  for (const EpochRow& r : history)
    for (double loss : {r.train_loss, r.validation_loss})
      if (!std::isnan(loss)) low = std::min(low, loss), high = std::max(high, loss);
  if (low > high) low = 0, high = 1;
  if (high - low < 1e-9) low -= 0.0005, high += 0.0005;
  const double y_step = tick_step(high - low);
  low = std::floor(low / y_step) * y_step;
  high = std::ceil(high / y_step) * y_step;
  const int first = 1, last = std::max(2, history.empty() ? 2 : int(history.back().epoch));
  const double x_step = std::max(1.0, std::round(tick_step(last - first)));
  auto x_of = [&](double epoch) { return LEFT + (epoch - first) / (last - first) * plot_w; };
  auto y_of = [&](double loss) { return TOP + (high - loss) / (high - low) * plot_h; };

  std::fprintf(file,
               "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%.0f\" height=\"%.0f\" viewBox=\"0 0 %.0f %.0f\" "
               "font-family=\"sans-serif\" font-size=\"13\">\n<rect width=\"100%%\" height=\"100%%\" fill=\"white\"/>\n",
               W, H, W, H);
  std::fprintf(file, "<text x=\"%.0f\" y=\"28\" text-anchor=\"middle\" font-size=\"17\">Training and validation loss</text>\n",
               W / 2);
  // Grid and ticks.
  for (double v = low; v <= high + y_step / 2; v += y_step) {
    std::fprintf(file, "<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\" stroke=\"#ddd\"/>\n", LEFT, y_of(v),
                 LEFT + plot_w, y_of(v));
    std::fprintf(file, "<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"end\">%.5g</text>\n", LEFT - 6, y_of(v) + 4, v);
  }
  for (double e = first; e <= last + 0.5; e += x_step) {
    std::fprintf(file, "<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\" stroke=\"#ddd\"/>\n", x_of(e), TOP, x_of(e),
                 TOP + plot_h);
    std::fprintf(file, "<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"middle\">%.0f</text>\n", x_of(e), TOP + plot_h + 18, e);
  }
  // Axes and their labels.
  std::fprintf(file, "<path d=\"M%.1f %.1f V%.1f H%.1f\" fill=\"none\" stroke=\"black\"/>\n", LEFT, TOP, TOP + plot_h,
               LEFT + plot_w);
  std::fprintf(file, "<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"middle\">epoch</text>\n", LEFT + plot_w / 2, H - 20);
  std::fprintf(file,
               "<text x=\"20\" y=\"%.1f\" text-anchor=\"middle\" transform=\"rotate(-90 20 %.1f)\">loss (mean squared "
               "error)</text>\n",
               TOP + plot_h / 2, TOP + plot_h / 2);
  // The two curves, with a dot at each epoch so that a single epoch shows too; no validation
  // curve when nothing was held out.
  const char* colours[2] = {"#1f77b4", "#d62728"};
  const char* names[2] = {"training", "validation"};
  for (int curve = 0; curve < 2; ++curve) {
    auto loss_of = [curve](const EpochRow& r) { return curve ? r.validation_loss : r.train_loss; };
    std::fprintf(file, "<polyline fill=\"none\" stroke=\"%s\" stroke-width=\"2\" points=\"", colours[curve]);
    for (const EpochRow& r : history)
      if (!std::isnan(loss_of(r))) std::fprintf(file, "%.1f,%.1f ", x_of(r.epoch), y_of(loss_of(r)));
    std::fprintf(file, "\"/>\n");
    for (const EpochRow& r : history)
      if (!std::isnan(loss_of(r)))
        std::fprintf(file, "<circle cx=\"%.1f\" cy=\"%.1f\" r=\"3\" fill=\"%s\"/>\n", x_of(r.epoch),
                     y_of(loss_of(r)), colours[curve]);
    const double ly = TOP + 12 + 20 * curve;
    std::fprintf(file, "<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\" stroke=\"%s\" stroke-width=\"2\"/>\n",
                 LEFT + plot_w - 130, ly, LEFT + plot_w - 105, ly, colours[curve]);
    std::fprintf(file, "<text x=\"%.1f\" y=\"%.1f\">%s</text>\n", LEFT + plot_w - 98, ly + 4, names[curve]);
  }
  std::fprintf(file, "</svg>\n");
  return std::fclose(file) == 0;
}
