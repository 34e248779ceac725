// Numbers and times as texts.

import { said } from "./strings.js";

// Decimals that tell a thousandth of a span or better.
export function decimalsFor(span) {
  if (!(span > 0)) return 2;
  return Math.min(9, Math.max(0, 4 - Math.ceil(Math.log10(span) + 1e-4)));
}

export const none = "–";

export function number(value, decimals) {
  if (value === null || value === undefined) return none;
  const size = Math.abs(value);
  if (size >= 1e7 || (size > 0 && size < 0.5 * 10 ** -decimals && size < 1e-4)) return value.toExponential(3);
  const text = value.toFixed(decimals);
  return /^-0(\.0*)?$/.test(text) ? text.slice(1) : text;
}

// As short as tells it whole.
export function whole(value) {
  return value === null || value === undefined ? none : String(Number(value.toPrecision(12)));
}

// With so many digits.
export function rounded(value, digits = 6) {
  return value === null || value === undefined ? none : whole(Number(value.toPrecision(digits)));
}

export const withUnit = (text, unit) => (unit ? text + " " + unit : text);

const two = (value) => String(value).padStart(2, "0");

// Seconds of the run: "12.5 s", "1:02:03", "2 d 03:04:05".
export function runTime(seconds) {
  if (seconds === null || seconds === undefined) return none;
  if (seconds < 7200) return whole(Math.round(seconds * 1000) / 1000) + " s";
  const all = Math.floor(seconds);
  const days = Math.floor(all / 86400);
  const hours = Math.floor((all % 86400) / 3600);
  const rest = two(Math.floor((all % 3600) / 60)) + ":" + two(all % 60);
  return days > 0 ? days + " d " + two(hours) + ":" + rest : hours + ":" + rest;
}

// How long ago, or how long yet.
export function span(seconds) {
  if (seconds < 10) return seconds.toFixed(1) + " s";
  if (seconds < 120) return Math.round(seconds) + " s";
  if (seconds < 7200) return Math.round(seconds / 60) + " min";
  return Math.round(seconds / 3600) + " h";
}

// Seconds of the epoch, in the reader's own zone.
export function wallTime(seconds) {
  const time = new Date(seconds * 1000);
  return time.getFullYear() + "-" + two(time.getMonth() + 1) + "-" + two(time.getDate()) + " " +
    two(time.getHours()) + ":" + two(time.getMinutes()) + ":" + two(time.getSeconds());
}

export const onOff = (value) => (value === null || value === undefined ? none : said(value !== 0 ? "on" : "off"));
