load sprintf("%s/common.gnuplot", scripts)
set output sprintf("%s/subscriptions.svg", folder)
set title "A message among many subscriptions, from its text to its listener"
set xlabel "subscriptions"
set ylabel "nanoseconds of processor time"
set logscale x
set yrange [0:*]
plot sprintf("%s/subscriptions.data", folder) using 1:2:3:4 title "vexa, median and extremes"
