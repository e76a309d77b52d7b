# All that a case may use, the libraries included: from lab.all import *
import random
import socket
import statistics

from .probe import *
from .screen import *
from .server import *
from .session import *
from .sound import *
from .velmora import *
