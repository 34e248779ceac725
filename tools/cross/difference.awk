# Where two traces first differ: row, column and both values.
#   awk -f difference.awk REFERENCE OTHER
BEGIN { FS = "," }
FNR == NR { expected[FNR] = $0; rows = FNR; next }
FNR == 1 { split($0, names) }
FNR > rows { print "row " FNR " is one too many"; found = 1; exit }
$0 "" != expected[FNR] "" {
  count = split(expected[FNR], values)
  i = 1
  while (i <= NF && i <= count && $i "" == values[i] "") ++i
  print "row " FNR ", column " names[i] ": " $i ", not " values[i]
  found = 1
  exit
}
END { if (!found) print "ends after row " FNR " of " rows }
