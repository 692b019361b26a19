load sprintf("%s/common.gnuplot", scripts)
set output sprintf("%s/listeners.svg", folder)
set title "A message to many listeners of one subscription"
set xlabel "listeners"
set ylabel "nanoseconds of processor time a listener"
set logscale xy
set key right top
plot sprintf("%s/listeners.data", folder) using 1:2:3:4 title "vexa, median and extremes"
