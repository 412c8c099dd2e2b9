import sys

import mpg

video, output = sys.argv[1:]
try:
    # A picture from a tenth of the film on, 180 pixels high.
    mpg.image_p(video, output, 10, height=180, quality=85)
except mpg.MpgError as error:
    sys.exit(str(error))
