#!/usr/bin/python3
"""Writes static leases with Python and a template: leases.py CONFIGURATION OUTPUT"""
import json
import os
import sys

import jinja2

with open(sys.argv[1], encoding='utf-8') as file:
    configuration = json.load(file)
environment = jinja2.Environment(loader=jinja2.FileSystemLoader(os.path.dirname(os.path.abspath(__file__))),
                                 trim_blocks=True, keep_trailing_newline=True)
text = environment.get_template('dnsmasq.conf.j2').render(interfaces=configuration['network']['interface'])
with open(sys.argv[2], 'w', encoding='utf-8') as file:
    file.write(text)
