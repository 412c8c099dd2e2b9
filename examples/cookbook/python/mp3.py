import os
import sys

import mpg

source, output = sys.argv[1:]
try:
    mpg.mp3_convert(source, output, bit_rate=192000,
                    on_progress=lambda percent: print(f"\r{output}: {percent} %", end=""))
except mpg.MpgError as error:
    # A failed conversion leaves what was written so far.
    if os.path.exists(output):
        os.remove(output)
    sys.exit(str(error))
print()
