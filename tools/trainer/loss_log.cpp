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

constexpr double W = 800, H = 500, LEFT = 90, RIGHT = 30, TOP = 50, BOTTOM = 70;
constexpr double PLOT_W = W - LEFT - RIGHT, PLOT_H = H - TOP - BOTTOM;

// The ranges of the two axes, rounded out to whole ticks, and where a point of them lies.
struct PlotFrame {
  double low = 1e300, high = -1e300, y_step = 1;
  int first = 1, last = 2;
  double x_step = 1;
  double x_of(double epoch) const { return LEFT + (epoch - first) / (last - first) * PLOT_W; }
  double y_of(double loss) const { return TOP + (high - loss) / (high - low) * PLOT_H; }
};

PlotFrame frame_of(const std::vector<EpochRow>& history) {
  PlotFrame f;
  for (const EpochRow& r : history)
    for (double loss : {r.train_loss, r.validation_loss})
      if (!std::isnan(loss)) f.low = std::min(f.low, loss), f.high = std::max(f.high, loss);
  if (f.low > f.high) f.low = 0, f.high = 1;
  if (f.high - f.low < 1e-9) f.low -= 0.0005, f.high += 0.0005;
  f.y_step = tick_step(f.high - f.low);
  f.low = std::floor(f.low / f.y_step) * f.y_step;
  f.high = std::ceil(f.high / f.y_step) * f.y_step;
  f.last = std::max(2, history.empty() ? 2 : int(history.back().epoch));
  f.x_step = std::max(1.0, std::round(tick_step(f.last - f.first)));
  return f;
}

// The title, the grid with its ticks, the axes and their labels.
void write_axes(std::FILE* file, const PlotFrame& f) {
  std::fprintf(file,
               "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%.0f\" height=\"%.0f\" viewBox=\"0 0 %.0f %.0f\" "
               "font-family=\"sans-serif\" font-size=\"13\">\n<rect width=\"100%%\" height=\"100%%\" fill=\"white\"/>\n",
               W, H, W, H);
  std::fprintf(file, "<text x=\"%.0f\" y=\"28\" text-anchor=\"middle\" font-size=\"17\">Training and validation loss</text>\n",
               W / 2);
  for (double v = f.low; v <= f.high + f.y_step / 2; v += f.y_step) {
    std::fprintf(file, "<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\" stroke=\"#ddd\"/>\n", LEFT, f.y_of(v),
                 LEFT + PLOT_W, f.y_of(v));
    std::fprintf(file, "<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"end\">%.5g</text>\n", LEFT - 6, f.y_of(v) + 4, v);
  }
  for (double e = f.first; e <= f.last + 0.5; e += f.x_step) {
    std::fprintf(file, "<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\" stroke=\"#ddd\"/>\n", f.x_of(e), TOP,
                 f.x_of(e), TOP + PLOT_H);
    std::fprintf(file, "<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"middle\">%.0f</text>\n", f.x_of(e), TOP + PLOT_H + 18,
                 e);
  }
  std::fprintf(file, "<path d=\"M%.1f %.1f V%.1f H%.1f\" fill=\"none\" stroke=\"black\"/>\n", LEFT, TOP, TOP + PLOT_H,
               LEFT + PLOT_W);
  std::fprintf(file, "<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"middle\">epoch</text>\n", LEFT + PLOT_W / 2, H - 20);
  std::fprintf(file,
               "<text x=\"20\" y=\"%.1f\" text-anchor=\"middle\" transform=\"rotate(-90 20 %.1f)\">loss (mean squared "
               "error)</text>\n",
               TOP + PLOT_H / 2, TOP + PLOT_H / 2);
}

// The two curves, with a dot at each epoch so that a single epoch shows too, and their key;
// no validation curve when nothing was held out.
void write_curves(std::FILE* file, const PlotFrame& f, const std::vector<EpochRow>& history) {
  const char* colours[2] = {"#1f77b4", "#d62728"};
  const char* names[2] = {"training", "validation"};
  for (int curve = 0; curve < 2; ++curve) {
    auto loss_of = [curve](const EpochRow& r) { return curve ? r.validation_loss : r.train_loss; };
    std::fprintf(file, "<polyline fill=\"none\" stroke=\"%s\" stroke-width=\"2\" points=\"", colours[curve]);
    for (const EpochRow& r : history)
      if (!std::isnan(loss_of(r))) std::fprintf(file, "%.1f,%.1f ", f.x_of(r.epoch), f.y_of(loss_of(r)));
    std::fprintf(file, "\"/>\n");
    for (const EpochRow& r : history)
      if (!std::isnan(loss_of(r)))
        std::fprintf(file, "<circle cx=\"%.1f\" cy=\"%.1f\" r=\"3\" fill=\"%s\"/>\n", f.x_of(r.epoch),
                     f.y_of(loss_of(r)), colours[curve]);
    const double ly = TOP + 12 + 20 * curve;
    std::fprintf(file, "<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\" stroke=\"%s\" stroke-width=\"2\"/>\n",
                 LEFT + PLOT_W - 130, ly, LEFT + PLOT_W - 105, ly, colours[curve]);
    std::fprintf(file, "<text x=\"%.1f\" y=\"%.1f\">%s</text>\n", LEFT + PLOT_W - 98, ly + 4, names[curve]);
  }
}

}  // namespace

bool write_loss_svg(const std::vector<EpochRow>& history, const std::string& path) {
  std::FILE* file = std::fopen(path.c_str(), "w");
  if (!file) {
    std::perror(path.c_str());
    return false;
  }
  const PlotFrame frame = frame_of(history);
  write_axes(file, frame);
  write_curves(file, frame, history);
  std::fprintf(file, "</svg>\n");
  return std::fclose(file) == 0;
}
