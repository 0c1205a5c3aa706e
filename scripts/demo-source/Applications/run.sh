#!/bin/sh
echo sample
