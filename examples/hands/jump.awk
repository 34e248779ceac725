# The greatest change of a column of a trace from one row to the next, from a
# time on or between two:
#   awk -f jump.awk column=power from=150 to=300 hold.csv
BEGIN { FS = ","; to = 1e300 }
FNR == 1 {
  for (i = 1; i <= NF; ++i) if ($i == column) at = i
  next
}
FNR > 2 && $1 >= from && $1 <= to && ($at - last) ^ 2 > (after - before) ^ 2 { before = last; after = $at; when = $1 }
{ last = $at }
END {
  if (when == "") print column " stays"
  else printf "%s from %.4g to %.4g at %g s\n", column, before, after, when
}
