# Ratios with their spreads, and the bounds: a row of `data` is a label, a ratio, a spread and a bound.
#   gnuplot -e "data='rows.tsv'; rows=40" ratios.gnuplot > ratios.svg
set terminal svg size 1000, 120 + 18 * rows background "white" font "sans-serif,12" noenhanced
set datafile separator tab
set title "Time of the library over time of the plain loop"
set key below horizontal width -4
set grid xtics
set yrange [rows - 0.5:-0.5]
set arrow from first 1, graph 0 to first 1, graph 1 nohead linecolor "gray40"
plot data using 4:0:ytic(1) with points pointtype 2 pointsize 0.6 linecolor "red" title "to stay at or below", \
     data using 2:0:3 with xerrorbars pointtype 7 pointsize 0.6 linecolor "blue" title "measured, with its spread"
