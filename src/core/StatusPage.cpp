// The operator's page: current figures and three plots of the last hour, drawn on canvases from
// /status.json. Everything is inline so that the page works on a machine with no other network.
#include "core/StatusBoard.h"

namespace {

const char kStatusPage[] = R"HTML(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<title>Quorvane server status</title>
<style>
body { font: 14px sans-serif; margin: 16px; background: #f6f7f9; color: #222; }
h1 { font-size: 20px; margin: 0 0 8px; }
#figures { display: flex; flex-wrap: wrap; gap: 8px; margin-bottom: 12px; }
.figure { background: #fff; border: 1px solid #ccd; border-radius: 4px; padding: 6px 10px; }
.figure b { display: block; font-size: 18px; }
.plot { background: #fff; border: 1px solid #ccd; border-radius: 4px; margin-bottom: 12px; padding: 6px; }
.plot h2 { font-size: 14px; margin: 0 0 4px; }
.legend span { margin-right: 12px; }
canvas { width: 100%; height: 180px; display: block; }
#error { color: #b00; }
</style>
</head>
<body>
<h1>Quorvane server status</h1>
<div id="error"></div>
<div id="figures"></div>
<div class="plot"><h2>Tick time (ms), last hour</h2>
<div class="legend"><span style="color:#1f6fd1">&#9632; mean</span><span style="color:#d1501f">&#9632; max</span></div>
<canvas id="tick"></canvas></div>
<div class="plot"><h2>Players online, last hour</h2><canvas id="players"></canvas></div>
<div class="plot"><h2>Bandwidth (bytes/s), last hour</h2>
<div class="legend"><span style="color:#2a9d4b">&#9632; in</span><span style="color:#8a3fd1">&#9632; out</span></div>
<canvas id="bandwidth"></canvas></div>
<script>
function plot(id, times, series) {
  var canvas = document.getElementById(id);
  var w = canvas.clientWidth, h = canvas.clientHeight, ratio = window.devicePixelRatio || 1;
  canvas.width = w * ratio; canvas.height = h * ratio;
  var g = canvas.getContext('2d');
  g.scale(ratio, ratio);
  g.clearRect(0, 0, w, h);
  var left = 56, bottom = 20, top = 8, right = 8;
  var max = 0;
  series.forEach(function (s) { s.values.forEach(function (v) { if (v > max) max = v; }); });
  if (max <= 0) max = 1;
  var t1 = times.length ? times[times.length - 1] : 0, t0 = t1 - 3600;
  function x(t) { return left + (w - left - right) * (t - t0) / 3600; }
  function y(v) { return h - bottom - (h - bottom - top) * v / max; }
  g.strokeStyle = '#ccd'; g.fillStyle = '#555'; g.font = '11px sans-serif'; g.lineWidth = 1;
  var digits = max >= 100 ? 0 : max >= 10 ? 1 : 2;
  for (var i = 0; i <= 4; i++) {
    var v = max * i / 4, yy = y(v);
    g.beginPath(); g.moveTo(left, yy); g.lineTo(w - right, yy); g.stroke();
    g.fillText(v.toFixed(digits), 4, yy + 4);
  }
  for (var m = 0; m <= 60; m += 10) {
    g.textAlign = m === 0 ? 'left' : m === 60 ? 'right' : 'center';
    g.fillText(m === 60 ? 'now' : '-' + (60 - m) + ' min', x(t0 + m * 60), h - 4);
  }
  g.textAlign = 'left';
  series.forEach(function (s) {
    g.strokeStyle = s.color; g.lineWidth = 1.5; g.beginPath();
    for (var i = 0; i < times.length; i++) {
      if (i === 0) g.moveTo(x(times[i]), y(s.values[i])); else g.lineTo(x(times[i]), y(s.values[i]));
    }
    g.stroke();
  });
}
function figure(name, value) {
  return '<div class="figure">' + name + '<b>' + value + '</b></div>';
}
function refresh() {
  fetch('/status.json', {cache: 'no-store'}).then(function (r) { return r.json(); }).then(function (s) {
    var kinds = 0;
    for (var k in s.entities) kinds += s.entities[k];
    document.getElementById('figures').innerHTML =
      figure('Players online', s.players_online) + figure('Clients', s.clients_connected) +
      figure('Game ticks/s', s.game_ticks_per_second) + figure('Entities', kinds) +
      figure('Unacked backlog', s.unacked_backlog) +
      figure('Last save', s.last_save_time ? new Date(s.last_save_time * 1000).toLocaleString() : 'none yet');
    var h = s.history;
    plot('tick', h.time, [{color: '#1f6fd1', values: h.tick_ms_mean}, {color: '#d1501f', values: h.tick_ms_max}]);
    plot('players', h.time, [{color: '#1f6fd1', values: h.players}]);
    plot('bandwidth', h.time, [{color: '#2a9d4b', values: h.bytes_in}, {color: '#8a3fd1', values: h.bytes_out}]);
    document.getElementById('error').textContent = '';
    document.body.setAttribute('data-drawn', h.time.length);
  }).catch(function (e) { document.getElementById('error').textContent = 'No answer from the server: ' + e; });
}
refresh();
setInterval(refresh, 5000);
</script>
</body>
</html>
)HTML";

} // namespace

const char* StatusPageHtml() { return kStatusPage; }
