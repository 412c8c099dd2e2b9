import sys

import mpg

output, *segments = sys.argv[1:]
try:
    # Without delete_segments the host deletes them when all of its work is done. A failed join
    # deletes its output. close_gaps: times go on where the previous segment ended.
    mpg.merge(segments, output, close_gaps=True)
except mpg.MpgError as error:
    sys.exit(f"the segments are kept: {error}")
print("wrote", output)
